#include <algorithm>
#include <utility>

#include "LarkmoorBase/Text.h"
#include "LarkmoorUpdate/Feed/Appcast.h"
#include "LarkmoorUpdate/Feed/Version.h"

namespace larkmoor {

namespace {

bool isBelow(std::string_view version, std::string_view other) { return compareVersions(version, other) < 0; }

/// Nothing is below a bound that the feed does not have.
bool isBelowBound(std::string_view version, const std::string& bound) {
    return !bound.empty() && isBelow(version, bound);
}

/// An item with the one of its archives that would be installed.
struct Offer {
    const Appcast::Item* item = nullptr;
    const Appcast::Archive* archive = nullptr;  ///< none if the item has none

    std::string_view version() const {
        return item->versionString.empty() && archive ? archive->versionString : item->versionString;
    }
    std::string_view displayVersion() const {
        if (!item->displayVersionString.empty()) return item->displayVersionString;
        return archive && !archive->displayVersionString.empty() ? archive->displayVersionString : version();
    }
    bool namesSystem() const { return archive && !archive->os.empty(); }
    bool isBetterThan(const Offer& other) const {
        const auto order = compareVersions(version(), other.version());
        if (order != 0) return order > 0;
        // An archive goes before news, and the one for our system before the one for all.
        if ((archive == nullptr) != (other.archive == nullptr)) return archive != nullptr;
        return namesSystem() && !other.namesSystem();
    }
};

bool fitsSystem(const Appcast::Item& item, const std::string& system) {
    return !isBelowBound(system, item.minimumSystemVersion) &&
           (item.maximumSystemVersion.empty() || !isBelow(item.maximumSystemVersion, system));
}

void considerAll(std::optional<Offer>& best, const Appcast::Item& item, const OurVersion& ours) {
    const auto consider = [&](const Offer& offer) {
        if (isBelow(ours.build, offer.version()) && (!best || offer.isBetterThan(*best))) best = offer;
    };
    if (!item.channel.empty() || !fitsSystem(item, ours.systemVersion)) return;
    if (item.archives.empty()) consider({.item = &item});
    for (const Appcast::Archive& archive : item.archives) {
        if (archive.os.empty() || archive.os == ours.os) consider({.item = &item, .archive = &archive});
    }
}

bool isNewsOnly(const Offer& offer, const std::string& ours) {
    if (!offer.archive) return true;
    const auto& informational = offer.item->informational;
    if (!informational) return false;
    const auto& [versions, belowVersions] = *informational;
    return (versions.empty() && belowVersions.empty()) ||
           std::ranges::any_of(versions, [&](const auto& each) { return compareVersions(each, ours) == 0; }) ||
           std::ranges::any_of(belowVersions, [&](const auto& each) { return isBelow(ours, each); });
}

/// "pt-br" of "pt_BR.UTF-8@euro".
std::string languageTag(std::string_view text) {
    std::string tag = lowercased(std::string{text.substr(0, text.find_first_of(".@"))});
    std::ranges::replace(tag, '_', '-');
    return tag;
}

std::string_view primaryLanguage(std::string_view tag) { return tag.substr(0, tag.find('-')); }

std::optional<std::string> notesURL(const std::vector<Appcast::NotesLink>& links,
                                    const std::vector<std::string>& languages) {
    const auto find = [&links](auto matches) -> std::optional<std::string> {
        const auto found =
            std::ranges::find_if(links, [&](const auto& link) { return matches(languageTag(link.language)); });
        return found == links.end() ? std::nullopt : std::optional{found->url};
    };
    const auto findLanguage = [&find](const std::string& wanted) {
        auto url = find([&](const std::string& tag) { return tag == wanted; });
        if (url) return url;
        return find([&](const std::string& tag) { return primaryLanguage(tag) == primaryLanguage(wanted); });
    };
    for (const std::string& language : languages) {
        if (auto url = findLanguage(languageTag(language))) return url;
    }
    if (auto url = findLanguage("en")) return url;
    return find([](const std::string& tag) { return tag.empty(); });
}

std::optional<std::string> unlessEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional{text};
}

}  // namespace

std::optional<AppcastItem> pick(const Appcast& appcast, const OurVersion& ours) {
    std::optional<Offer> best;
    for (const Appcast::Item& item : appcast.items) considerAll(best, item, ours);
    if (!best) return std::nullopt;
    const Appcast::Item& item = *best->item;
    AppcastItem picked{
        .versionString = std::string{best->version()},
        .displayVersionString = std::string{best->displayVersion()},
        .infoURL = unlessEmpty(item.infoURL),
        .notesURL = item.notes.empty() ? notesURL(item.notesLinks, ours.languages) : std::nullopt,
        .notes = item.notes,
        .notesArePlainText = item.notesArePlainText,
        .historyURL = unlessEmpty(item.historyURL),
        .isOfferOnly = isBelowBound(ours.build, item.minimumAutoupdateVersion),
        .isCritical = item.criticalBelow && (item.criticalBelow->empty() || isBelow(ours.build, *item.criticalBelow))};
    if (!isNewsOnly(*best, ours.build)) {
        picked.url = best->archive->url;
        picked.length = best->archive->length;
        picked.signature = unlessEmpty(best->archive->signature);
    }
    return picked;
}

std::vector<std::string> preferredLanguages(std::string_view languageList, std::string_view locale) {
    std::vector<std::string> languages;
    while (!languageList.empty()) {
        const std::string_view language = languageList.substr(0, languageList.find(':'));
        languageList.remove_prefix(std::min(language.size() + 1, languageList.size()));
        if (!language.empty()) languages.emplace_back(language);
    }
    if (languages.empty() && !locale.empty()) languages.emplace_back(locale);
    return languages;
}

std::vector<std::string> preferredLanguages(const std::function<std::string(const char*)>& environment) {
    std::string locale;
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (locale.empty()) locale = environment(name);
    }
    return preferredLanguages(environment("LANGUAGE"), locale);
}

}  // namespace larkmoor
