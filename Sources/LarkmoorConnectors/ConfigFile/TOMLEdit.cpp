#include "LarkmoorConnectors/ConfigFile/TOMLEdit.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "LarkmoorConnectors/ConfigFile/Splice.h"
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

namespace larkmoor {

std::string TOMLEditError::description() const {
    return fmt::format("[{}] is not in this file", TOMLText::joined(name));
}

namespace TOMLEdit {

namespace {

/// The spliced file, if it scans.
std::expected<Bytes, TOMLTextError> checked(BytesView bytes, const Splice& splice) {
    Bytes result = apply(splice, bytes);
    if (auto document = TOMLText::scan(result); !document) return std::unexpected{std::move(document.error())};
    return result;
}

bool lineEndsBefore(BytesView bytes, std::int64_t offset) {
    return offset > 0 && bytes[static_cast<std::size_t>(offset - 1)] == std::byte{'\n'};
}

std::int64_t startOfLine(BytesView bytes, std::int64_t offset) {
    const std::int64_t first = TOMLText::documentStart(bytes);
    while (offset > first && !lineEndsBefore(bytes, offset)) --offset;
    return offset;
}

}  // namespace

std::int64_t ownEnd(BytesView bytes, const TOMLTable& of, std::span<const TOMLEntry> entries) {
    std::int64_t end = of.bodyEnd;
    if (end == std::ssize(bytes)) return end;
    const std::int64_t first = entries.empty() ? of.bodyStart : entries.back().lineEnd;
    for (std::int64_t line = startOfLine(bytes, end); line > first;) {
        line = startOfLine(bytes, line - 1);
        const std::string_view text = asText(bytes).substr(static_cast<std::size_t>(line));
        if (text[text.find_first_not_of(" \t")] != '#') break;
        end = line;
    }
    return end;
}

std::expected<TableSet, TOMLTextError> setTable(BytesView bytes, const TOMLName& name, std::span<const Line> lines) {
    const auto document = TOMLText::scan(bytes);
    if (!document) return std::unexpected{document.error()};
    const std::string_view newline = TOMLText::lineEnding(bytes);
    const std::int64_t size = std::ssize(bytes);
    const TOMLTable* table = document->table(name);

    Splice splice{{size, size}, ""};
    bool appendedTrailingNewline = false;
    if (table == nullptr) {
        appendedTrailingNewline = size > 0 && !lineEndsBefore(bytes, size);
        if (appendedTrailingNewline) splice.replacement += newline;
        if (size > 0) splice.replacement += newline;
        splice.replacement += fmt::format("[{}]{}", TOMLText::joined(name), newline);
    } else {
        splice.range = {table->bodyStart, ownEnd(bytes, *table, document->entries(*table))};
        const bool hasHeader = table->bodyStart > table->headerStart;
        appendedTrailingNewline = hasHeader && !lineEndsBefore(bytes, table->bodyStart);
        if (appendedTrailingNewline) splice.replacement += newline;
    }
    for (const Line& line : lines) splice.replacement += fmt::format("{} = {}{}", line.key, line.value, newline);

    auto result = checked(bytes, splice);
    if (!result) return std::unexpected{std::move(result.error())};
    return TableSet{std::move(*result), table == nullptr, appendedTrailingNewline};
}

std::expected<KeySet, TOMLTextError> setKey(BytesView bytes, const TOMLTable& in, std::span<const TOMLEntry> entries,
                                            const std::string& key, std::string_view value) {
    const TOMLName name{key};
    const std::int64_t end = ownEnd(bytes, in, entries);
    Splice splice{{end, end}, fmt::format("{} = {}", TOMLText::joined(name), value)};
    bool appendedTrailingNewline = false;
    if (const auto entry = std::ranges::find(entries, name, &TOMLEntry::key); entry != entries.end()) {
        splice.range = {entry->keyStart, entry->valueEnd};
    } else {
        const std::string_view newline = TOMLText::lineEnding(bytes);
        appendedTrailingNewline = end > 0 && !lineEndsBefore(bytes, end);
        if (appendedTrailingNewline) splice.replacement.insert(0, newline);
        splice.replacement += newline;
    }
    auto result = checked(bytes, splice);
    if (!result) return std::unexpected{std::move(result.error())};
    return KeySet{std::move(*result), appendedTrailingNewline};
}

Bytes removeKey(BytesView bytes, const TOMLEntry& entry) {
    return apply({{startOfLine(bytes, entry.keyStart), entry.lineEnd}, ""}, bytes);
}

std::expected<Bytes, TOMLEditFailure> removeTable(BytesView bytes, const TOMLName& name) {
    const auto document = TOMLText::scan(bytes);
    if (!document) return std::unexpected{TOMLEditFailure{document.error()}};
    const TOMLTable* table = document->table(name);
    if (table == nullptr) return std::unexpected{TOMLEditFailure{TOMLEditError::noSuchTable(name)}};

    const std::int64_t end = ownEnd(bytes, *table, document->entries(*table));
    Splice splice{{startOfOneBlankLine(bytes, table->headerStart), end}, ""};
    if (splice.range.start == TOMLText::documentStart(bytes)) {
        splice.range.end = endOfOneBlankLine(bytes, splice.range.end);
    }
    auto result = checked(bytes, splice);
    if (!result) return std::unexpected{TOMLEditFailure{std::move(result.error())}};
    return std::move(*result);
}

std::int64_t startOfOneBlankLine(BytesView bytes, std::int64_t before) {
    if (before <= TOMLText::documentStart(bytes) || !lineEndsBefore(bytes, before)) return before;
    const std::int64_t start = startOfLine(bytes, before - 1);
    const auto line = asText(bytes).substr(static_cast<std::size_t>(start), static_cast<std::size_t>(before - start));
    return line.find_first_not_of(" \t\r\n") == std::string_view::npos ? start : before;
}

std::int64_t endOfOneBlankLine(BytesView bytes, std::int64_t after) {
    const std::size_t past = asText(bytes).find_first_not_of(" \t\r", static_cast<std::size_t>(after));
    if (past == std::string_view::npos || bytes[past] != std::byte{'\n'}) return after;
    return static_cast<std::int64_t>(past) + 1;
}

}  // namespace TOMLEdit

}  // namespace larkmoor
