#include "LarkmoorFetch/Download.h"

#include <fmt/format.h>

#include <utility>

#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorFetch/Say.h"

namespace larkmoor {

namespace {

namespace protocol = FetchProtocol;

constexpr long okay = 200;

bool isRedirect(long status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

/// Of the answer whose headers are just complete.
std::optional<std::string> header(CURL* curl, const char* name) {
    curl_header* found = nullptr;
    if (curl_easy_header(curl, name, 0, CURLH_HEADER, -1, &found) != CURLHE_OK) return std::nullopt;
    return std::string{found->value};
}

long status(CURL* curl) {
    long code = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &code);
    return code;
}

/// As announced, or -1; an answer in chunks has no length whatever else it says.
std::int64_t announcedLength(CURL* curl) {
    const auto text = header(curl, "Content-Length");
    if (!text || header(curl, "Transfer-Encoding")) return -1;
    return std::max<std::int64_t>(wholeNumber<std::int64_t>(*text).value_or(-1), -1);
}

}  // namespace

Download::Download(const FetchOrder& order)
    : order_(order), curl_(curl_easy_init()), body_([this](std::int64_t bytes) {
          const auto now = Clock::now();
          if (now - lastProgress_ < progressInterval) return;
          lastProgress_ = now;
          say(protocol::progress, bytes);
      }) {}

Download::~Download() { curl_easy_cleanup(curl_); }

std::expected<std::int64_t, std::string> Download::run() {
    if (curl_ == nullptr) return std::unexpected("libcurl did not start");
    prepare();
    auto address = Address::of(order_.url, order_.allowsHTTP);
    if (!address) return std::unexpected(address.error());
    for (int redirects = 0; redirects <= maxRedirects; ++redirects) {
        auto next = ask(*address);
        if (!next) return std::unexpected(std::move(next.error()));
        const std::optional<Address>& further = *next;
        if (!further) {
            const auto whole = body_.finish();
            if (!whole) return std::unexpected(whole.error().description());
            return *whole;
        }
        address = *further;
    }
    return std::unexpected(fmt::format("more than {} redirects", maxRedirects));
}

void Download::prepare() {
    const auto set = [this](CURLoption option, auto value) { curl_easy_setopt(curl_, option, value); };
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    // Redirects are followed here, one by one, since the library cannot forbid the way from https to http alone.
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (!order_.authorities.empty()) {
        set(CURLOPT_CAINFO, order_.authorities.c_str());
        set(CURLOPT_PROXY_CAINFO, order_.authorities.c_str());
    }
    set(CURLOPT_USERAGENT, "Larkmoor/" LARKMOOR_BUILD);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(CURLOPT_ERRORBUFFER, curlReason_.data());
    set(CURLOPT_BUFFERSIZE, 256L * 1024);

    using Callback = std::size_t (*)(char*, std::size_t, std::size_t, void*);
    const Callback onHeader = [](char* data, std::size_t, std::size_t size, void* self) {
        return static_cast<Download*>(self)->takeHeader({data, size}) ? size : 0;
    };
    const Callback onBody = [](char* data, std::size_t, std::size_t size, void* self) {
        return static_cast<Download*>(self)->takeBody(asBytes({data, size})) ? size : 0;
    };
    using Watch = int (*)(void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
    // Called at least once a second, while nothing arrives, too.
    const Watch onTime = [](void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
        return static_cast<Download*>(self)->isInTime() ? 0 : 1;
    };
    set(CURLOPT_HEADERFUNCTION, onHeader);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_WRITEFUNCTION, onBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_XFERINFOFUNCTION, onTime);
    set(CURLOPT_XFERINFODATA, this);
}

std::expected<std::optional<Address>, std::string> Download::ask(const Address& address) {
    address_ = address;
    headerBytes_ = 0;
    hasHead_ = false;
    location_.reset();
    reason_.clear();
    curlReason_.front() = '\0';
    lastByte_ = Clock::now();
    curl_easy_setopt(curl_, CURLOPT_URL, address.url.c_str());
    const CURLcode ended = curl_easy_perform(curl_);
    // The body of a redirect is not waited for, which is an end with an error.
    if (location_) {
        auto next = address.redirected(*location_, order_.allowsHTTP);
        if (!next) return std::unexpected(std::move(next.error()));
        return *std::move(next);
    }
    if (!reason_.empty()) return std::unexpected(reason_);
    if (ended != CURLE_OK) {
        return std::unexpected(curlReason_.front() != '\0' ? curlReason_.data() : curl_easy_strerror(ended));
    }
    return std::nullopt;
}

bool Download::takeHeader(std::string_view line) {
    lastByte_ = Clock::now();
    headerBytes_ += line.size();
    if (headerBytes_ > maxHeaderBytes) return fail("the head of the answer does not end");
    // Answers before the proper one have statuses below 200, and fields may follow the body.
    const bool isLast = trimmed(line).empty();
    return !isLast || status(curl_) < okay || std::exchange(hasHead_, true) || takeHead();
}

bool Download::takeHead() {
    const long code = status(curl_);
    if (isRedirect(code)) location_ = header(curl_, "Location");
    // Not waiting for the body closes the connection, which a redirect to the same host would use again.
    if (location_) return announcedLength(curl_) == 0;
    const std::int64_t length = announcedLength(curl_);
    say(protocol::head, code, " ", length, " ", address_.host);
    if (code != okay) return fail(fmt::format("{} answers with status {}", address_.host, code));
    if (length > order_.maxBytes) {
        return fail(fmt::format("{} bytes are announced, more than the {} allowed", length, order_.maxBytes));
    }
    const auto opened = body_.open(order_.output);
    return opened || fail(opened.error().description());
}

bool Download::takeBody(BytesView piece) {
    if (location_) return false;
    lastByte_ = Clock::now();
    if (body_.taken() == 0 && !piece.empty()) say(protocol::firstByte);
    if (static_cast<std::int64_t>(piece.size()) > order_.maxBytes - body_.taken()) {
        return fail(fmt::format("more than the {} bytes allowed arrive", order_.maxBytes));
    }
    const auto added = body_.add(piece);
    return added || fail(added.error().description());
}

bool Download::isInTime() {
    if (Clock::now() - lastByte_ < order_.maxSilence) return true;
    return fail(
        fmt::format("{} was silent for {} s", address_.host, std::chrono::duration<double>(order_.maxSilence).count()));
}

bool Download::fail(std::string reason) {
    if (reason_.empty()) reason_ = std::move(reason);
    return false;
}

}  // namespace larkmoor
