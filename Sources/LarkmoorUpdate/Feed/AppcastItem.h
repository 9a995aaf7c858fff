// One offer of an update feed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace larkmoor {

/// The addresses are absolute.
struct AppcastItem {
    std::string versionString;         ///< the build, by which offers are compared
    std::string displayVersionString;  ///< shown to people
    /// Of the archive; nothing if the item is news only, which is offered with its page.
    std::optional<std::string> url{};
    std::optional<std::uint64_t> length{};   ///< of the archive in bytes, where the feed tells it
    std::optional<std::string> signature{};  ///< Ed25519, base64
    std::optional<std::string> infoURL{};    ///< the page about the item
    std::optional<std::string> notesURL{};   ///< the release notes' page
    std::string notes{};                     ///< the release notes in the feed itself, as text or HTML
    bool notesArePlainText = false;
    std::optional<std::string> historyURL{};  ///< the full history's page
    bool isOfferOnly = false;                 ///< never installed silently over our version
    bool isCritical = false;                  ///< for our version

    bool isNewsOnly() const { return !url; }
    bool operator==(const AppcastItem&) const = default;
};

}  // namespace larkmoor
