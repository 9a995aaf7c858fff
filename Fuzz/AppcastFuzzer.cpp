// Whatever a feed holds, what is picked from it is above ours, the greatest, in any order of its items, and leads to
// the web alone; half a feed is none. Versions, three lines of them, stand in one order.
#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "LarkmoorUpdate/Feed/Appcast.h"
#include "LarkmoorUpdate/Feed/Version.h"
#include "Require.h"

namespace {

using namespace larkmoor;
using larkmoor::fuzz::require;

void checkOrder(std::string_view text) {
    std::array<std::string_view, 3> versions;
    for (std::string_view& version : versions) {
        version = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(version.size() + 1, text.size()));
    }
    const auto [a, b, c] = versions;
    const auto ab = compareVersions(a, b), bc = compareVersions(b, c), ac = compareVersions(a, c);
    require(compareVersions(a, a) == 0 && compareVersions(b, a) == 0 <=> ab, "an order has two directions");
    if (ab <= 0 && bc <= 0) require(ab < 0 || bc < 0 ? ac < 0 : ac == 0, "below is transitive");
    if (ab >= 0 && bc >= 0) require(ab > 0 || bc > 0 ? ac > 0 : ac == 0, "above is transitive");
    require(compareVersions(std::string{a} + "-" + std::string{b}, a) == 0, "what is behind a dash does not count");
}

void checkAddress(const std::string& url) {
    const std::size_t host = url.find("//") + 2;
    require(url.starts_with("http://") || url.starts_with("https://"), "an address is not of the web");
    require(host < url.size() && url[host] != '/' && url[host] != '?' && url[host] != '#', "an address has no host");
    require(std::ranges::none_of(url, [](char byte) { return byte <= ' ' || byte > '~' || byte == '"'; }),
            "an address is not escaped");
    const std::string_view path = std::string_view{url}.substr(host, url.find_first_of("?#", host) - host);
    require(!path.contains("/../") && !path.contains("/./") && !path.ends_with("/.."), "there are dots in a path");
}

void checkFeed(std::string_view text) {
    auto appcast = readAppcast(asBytes(text), "https://example.org/a/b/feed.xml?c");
    if (!appcast) {
        require(!appcast.error().empty(), "a refusal without words");
        return;
    }
    require(!readAppcast(asBytes(text.substr(0, text.rfind("</rss"))), ""), "half a feed is read");
    const OurVersion ours{.build = "1.5", .systemVersion = "12", .languages = {"de_AT", "fr"}};
    const auto item = pick(*appcast, ours);
    for (const auto& each : appcast->items) {
        for (const auto& archive : each.archives) {
            checkAddress(archive.url);
            require(!each.versionString.empty() || !archive.versionString.empty(), "an archive has no version");
        }
        for (const auto& link : each.notesLinks) checkAddress(link.url);
        for (const auto& url : {each.infoURL, each.historyURL}) url.empty() ? void() : checkAddress(url);
        // The plainest of items are never passed over.
        if (each.channel.empty() && each.minimumSystemVersion.empty() && each.maximumSystemVersion.empty() &&
            each.archives.empty()) {
            require(compareVersions(each.versionString, item ? item->versionString : ours.build) <= 0,
                    "a greater item was passed over");
        }
    }
    if (item) require(compareVersions(item->versionString, ours.build) > 0, "what was picked is not above ours");
    std::ranges::reverse(appcast->items);
    const auto again = pick(*appcast, ours);
    require(item.has_value() == again.has_value(), "the order of items decides whether there is an update");
    if (item) require(compareVersions(item->versionString, again->versionString) == 0, "the order of items counts");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text{reinterpret_cast<const char*>(data), size};
    text.starts_with('<') ? checkFeed(text) : checkOrder(text);
    return 0;
}
