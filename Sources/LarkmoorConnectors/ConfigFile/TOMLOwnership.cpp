// Whether the tables that we own have a shape in the document that our edits can keep intact.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

namespace larkmoor::TOMLText {

namespace {

using Names = std::span<const TOMLName>;

/// Whether one name is a prefix of the other.
bool overlap(const TOMLName& left, const TOMLName& right) {
    const auto [atLeft, atRight] = std::ranges::mismatch(left, right);
    return atLeft == left.end() || atRight == right.end();
}

bool isAtOrBelow(const TOMLName& name, const TOMLName& owned) {
    return name.size() >= owned.size() && overlap(name, owned);
}

std::optional<std::string> refusedTable(const TOMLDocument& document, Names owning) {
    std::set<TOMLName> seen;
    for (const TOMLTable& table : std::span{document.tables}.subspan(1)) {
        if (std::ranges::none_of(owning, [&](const TOMLName& owned) { return overlap(table.name, owned); })) continue;
        if (table.isArrayElement) {
            return fmt::format("the table [[{}]] is an array of tables, which is not a shape this build can edit",
                               joined(table.name));
        }
        if (!seen.insert(table.name).second) {
            return fmt::format("the table [{}] is declared twice in this file", joined(table.name));
        }
    }
    return std::nullopt;
}

/// A dotted key, or an inline table, that defines what we own outside a table of its own.
std::optional<std::string> refusedKey(const TOMLDocument& document, Names owning) {
    for (std::size_t index = 0; index < document.allEntries.size(); ++index) {
        const TOMLName& table = document.tables[document.tableOfEntry[index]].name;
        TOMLName path = table;
        const TOMLName& key = document.allEntries[index].key;
        path.insert(path.end(), key.begin(), key.end());
        const bool isOutside = std::ranges::any_of(
            owning, [&](const TOMLName& owned) { return overlap(path, owned) && !isAtOrBelow(table, owned); });
        if (isOutside) {
            return fmt::format(
                "the key {} states the Larkmoor block outside a table of its own, which is not a shape this build can "
                "edit",
                joined(path));
        }
    }
    return std::nullopt;
}

std::optional<std::string> repeatedKey(const TOMLDocument& document, const TOMLName& owned) {
    for (const TOMLTable& table : document.tables) {
        if (table.name != owned) continue;
        std::set<TOMLName> seen;
        for (const TOMLEntry& entry : document.entries(table)) {
            if (seen.insert(entry.key).second) continue;
            return fmt::format("the key {} appears twice in [{}] (at byte {})", joined(entry.key), joined(owned),
                               entry.keyStart);
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> unreadableReason(const TOMLDocument& document, Names owning) {
    if (auto reason = refusedTable(document, owning)) return reason;
    if (auto reason = refusedKey(document, owning)) return reason;
    for (const TOMLName& owned : owning) {
        if (auto reason = repeatedKey(document, owned)) return reason;
    }
    return std::nullopt;
}

}  // namespace larkmoor::TOMLText
