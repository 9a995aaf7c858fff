#include "LarkmoorMenuApp/Update/Appcast/AppcastUpdater.h"

#include <ctime>
#include <utility>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorMenuApp/Update/Appcast/UpdateSession.h"

namespace larkmoor {

bool isLoopbackHTTP(std::string_view url) {
    constexpr std::string_view scheme = "http://";
    if (!url.starts_with(scheme)) return false;
    url.remove_prefix(scheme.size());
    // Whatever holds a user's name is not one of these.
    const std::string_view authority = url.substr(0, url.find_first_of("/?#"));
    for (const std::string_view host : {"127.0.0.1", "localhost", "[::1]"}) {
        if (!authority.starts_with(host)) continue;
        const std::string_view port = authority.substr(host.size());
        if (port.empty() || (port.starts_with(':') && port.find_first_not_of("0123456789", 1) == port.npos))
            return true;
    }
    return false;
}

AppcastUpdater::AppcastUpdater(AppcastServices services, UserDriver& driver, UpdaterDelegate& delegate)
    : services_(std::move(services)), driver_(driver), delegate_(delegate) {}

AppcastUpdater::~AppcastUpdater() {
    if (session_) session_->abandon();
}

std::expected<void, std::string> AppcastUpdater::startUpdater() {
    constexpr std::size_t keyBytes = 32;
    const auto key = Base64::decode(services_.publicKey);
    if (!key || key->size() != keyBytes) {
        return std::unexpected{std::string{"SUPublicEDKey is not an Ed25519 key in base64"}};
    }
    if (!services_.feedURL.starts_with("https://") && !isLoopbackHTTP(services_.feedURL)) {
        return std::unexpected{"the feed's address is not one of https: " + services_.feedURL};
    }
    return {};
}

void AppcastUpdater::check(bool isUserInitiated) {
    if (session_ && session_->isUnderWay()) return;
    if (session_) session_->abandon();
    session_ = std::make_shared<UpdateSession>(
        services_, UpdateSession::Owner{.updater = this, .driver = &driver_, .delegate = &delegate_}, isUserInitiated);
    session_->start();
}

std::optional<Updater::Date> AppcastUpdater::lastUpdateCheckDate() const {
    const auto text = services_.defaults.string(UpdateDefaults::lastCheck);
    std::tm time{};
    const char* end = text ? ::strptime(text->c_str(), "%Y-%m-%dT%H:%M:%SZ", &time) : nullptr;
    if (end == nullptr || *end != '\0') return std::nullopt;
    const Date checked = std::chrono::system_clock::from_time_t(::timegm(&time));
    // A clock that was wrong once must not put off every later check.
    return checked <= services_.now() ? std::optional{checked} : std::nullopt;
}

bool AppcastUpdater::automaticallyDownloadsUpdates() const { return UpdateDefaults::consent(services_.defaults); }

}  // namespace larkmoor
