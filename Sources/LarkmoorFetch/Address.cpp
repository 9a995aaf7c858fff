#include "LarkmoorFetch/Address.h"

#include <curl/curl.h>

#include <memory>

namespace larkmoor {

namespace {

using Parsed = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string part(const Parsed& parsed, CURLUPart which) {
    char* text = nullptr;
    if (curl_url_get(parsed.get(), which, &text, 0) != CURLUE_OK) return {};
    std::string copy{text};
    curl_free(text);
    return copy;
}

/// `text` may be relative to what was parsed before. Every scheme is parsed, so that a refusal can name it.
std::expected<Address, std::string> parse(const Parsed& parsed, const std::string& text, bool allowsHTTP) {
    constexpr unsigned flags = CURLU_NON_SUPPORT_SCHEME | CURLU_DISALLOW_USER | CURLU_URLENCODE;
    const CURLUcode failed = curl_url_set(parsed.get(), CURLUPART_URL, text.c_str(), flags);
    if (failed != CURLUE_OK) return std::unexpected(std::string{"not an address: "} + curl_url_strerror(failed));
    const std::string scheme = part(parsed, CURLUPART_SCHEME);
    if (scheme != "https" && !(scheme == "http" && allowsHTTP)) {
        return std::unexpected("the scheme " + scheme + " is not allowed");
    }
    return Address{
        .url = part(parsed, CURLUPART_URL), .host = part(parsed, CURLUPART_HOST), .isSecure = scheme == "https"};
}

}  // namespace

std::expected<Address, std::string> Address::of(const std::string& url, bool allowsHTTP) {
    return parse({curl_url(), curl_url_cleanup}, url, allowsHTTP);
}

std::expected<Address, std::string> Address::redirected(const std::string& location, bool allowsHTTP) const {
    const Parsed base{curl_url(), curl_url_cleanup};
    curl_url_set(base.get(), CURLUPART_URL, url.c_str(), 0);
    auto next = parse(base, location, allowsHTTP && !isSecure);
    if (!next) return std::unexpected(host + " redirects elsewhere, which is refused: " + next.error());
    return next;
}

}  // namespace larkmoor
