#include "LarkmoorConnectors/ConfigFile/TOMLDocument.h"

#include <algorithm>
#include <utility>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

namespace larkmoor {

std::optional<std::string> TOMLEntry::text() const {
    if (!raw.starts_with('"') && !raw.starts_with('\'')) return std::nullopt;
    auto string = TOMLText::parseString(asBytes(raw), 0);
    // A multi-line string begins like an empty one.
    if (!string || string->end != std::ssize(raw)) return std::nullopt;
    return std::move(string->text);
}

const TOMLTable* TOMLDocument::table(const TOMLName& named) const {
    const auto found = std::ranges::find_if(
        tables, [&](const TOMLTable& table) { return !table.isArrayElement && table.name == named; });
    return found == tables.end() ? nullptr : &*found;
}

std::span<const TOMLEntry> TOMLDocument::entries(const TOMLTable& of) const {
    // Found by its place, since `of` may be a copy: no two bodies start at the same offset.
    const auto table = std::ranges::lower_bound(tables, of.bodyStart, {}, &TOMLTable::bodyStart);
    const auto [first, last] = std::ranges::equal_range(tableOfEntry, static_cast<std::size_t>(table - tables.begin()));
    return std::span{allEntries}.subspan(static_cast<std::size_t>(first - tableOfEntry.begin()),
                                         static_cast<std::size_t>(last - first));
}

}  // namespace larkmoor
