// An update feed: what it offers, and which of its offers is for us.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorUpdate/Feed/AppcastItem.h"

namespace larkmoor {

/// All that a feed says. Addresses are absolute, http or https; an empty text is a thing that the feed does not have.
struct Appcast {
    struct Archive {
        std::string url;
        std::optional<std::uint64_t> length{};                ///< in bytes
        std::string signature{};                              ///< as the feed has it; its form is not checked
        std::string os{};                                     ///< for which it is; for every one if empty
        std::string versionString{}, displayVersionString{};  ///< unless the item has its own

        bool operator==(const Archive&) const = default;
    };
    struct NotesLink {
        std::string language;
        std::string url;

        bool operator==(const NotesLink&) const = default;
    };
    /// Nothing is installed over these versions, nor over those below the others; over no version at all if both are
    /// empty.
    struct Informational {
        std::vector<std::string> versions, belowVersions;

        bool operator==(const Informational&) const = default;
    };
    struct Item {
        std::string versionString{}, displayVersionString{};
        std::vector<Archive> archives{};  ///< not the deltas; none if the item is news only
        std::string channel{};
        std::string minimumSystemVersion{}, maximumSystemVersion{}, minimumAutoupdateVersion{};
        std::string notes{};  ///< in the feed itself
        bool notesArePlainText = false;
        std::vector<NotesLink> notesLinks{};
        std::string infoURL{}, historyURL{};
        std::optional<Informational> informational{};
        std::optional<std::string> criticalBelow{};  ///< critical, if not empty for versions below this one alone

        bool operator==(const Item&) const = default;
    };

    std::vector<Item> items;  ///< in the feed's order; those that are broken are left out

    bool operator==(const Appcast&) const = default;
};

inline constexpr std::size_t maxAppcastBytes = std::size_t{16} << 20U;

/// Reads a feed that was fetched from the address `base`; any thread. An item without a version, or of whose archives
/// none has an address, is left out. The error is a reason for a log: it is no update feed, or not a whole one, not in
/// UTF-8, larger than `maxAppcastBytes`, declares entities, or has an archive at an address that is neither http nor
/// https.
std::expected<Appcast, std::string> readAppcast(BytesView bytes, std::string_view base);

/// What an offer is measured against.
struct OurVersion {
    std::string build;
    std::string systemVersion;
    std::string os = "linux";
    std::vector<std::string> languages{};  ///< of the person, the first wanted most: "pt-BR" or "pt_BR"
};

/// The item of the greatest build that is for everybody (of no channel), for our system and above our build. Of two
/// equal ones the one that names our system counts, then the first.
std::optional<AppcastItem> pick(const Appcast& appcast, const OurVersion& ours);

/// The person's languages: those that $LANGUAGE lists, else that of the locale of messages.
std::vector<std::string> preferredLanguages(std::string_view languageList, std::string_view locale);
/// The same, of variables of the environment by name; "" for one that is not set.
std::vector<std::string> preferredLanguages(const std::function<std::string(const char*)>& environment);

}  // namespace larkmoor
