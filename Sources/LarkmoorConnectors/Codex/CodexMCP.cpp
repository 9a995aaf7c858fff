#include "LarkmoorConnectors/Codex/CodexMCP.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "LarkmoorConnectors/Framework/Observations.h"

namespace larkmoor {

namespace {

const TOMLEntry* entryNamed(const char* name, CodexMCP::Entries in) {
    const auto found = std::ranges::find(in, TOMLName{name}, &TOMLEntry::key);
    return found == in.end() ? nullptr : &*found;
}

std::optional<std::string> commandOf(CodexMCP::Entries entries) {
    const TOMLEntry* command = entryNamed("command", entries);
    return command == nullptr ? std::nullopt : command->text();
}

bool isEmptyArray(std::string_view value) {
    std::string text{value};
    std::erase_if(text, [](char byte) { return std::string_view{" \t\r\n"}.contains(byte); });
    return text == "[]";
}

/// Whether the path is that of a program which a developer built from our sources.
bool isFromCheckout(std::string_view path) {
    constexpr std::string_view marks[] = {"/fenwright/larkmoor/dist-dev/", "/fenwright/larkmoor/dist-prod/",
                                          "/fenwright/larkmoor/.build/"};
    return path.ends_with("/larkmoor-mcp") &&
           std::ranges::any_of(marks, [&](std::string_view mark) { return path.contains(mark); });
}

}  // namespace

const TOMLName& CodexMCP::tableName() {
    static const TOMLName name{"mcp_servers", "larkmoor"};
    return name;
}

bool CodexMCP::matchesOurShape(Entries entries) const {
    const TOMLEntry* args = entryNamed("args", entries);
    return entries.size() == 2 && args != nullptr && isEmptyArray(args->raw) && commandOf(entries) == paths.mcpBinary;
}

CodexMCP::Ownership CodexMCP::ownership(Entries of, bool createdByUs) const {
    if (createdByUs || of.empty() || matchesOurShape(of)) return Ownership::ours;
    const auto command = commandOf(of);
    if (!command) return Ownership::foreign;
    const bool isOurs =
        *command == paths.mcpBinary || isFromCheckout(*command) || BundleCommand::names(*command, "larkmoor-mcp");
    return isOurs ? Ownership::ours : Ownership::foreign;
}

std::vector<TOMLTable> CodexMCP::subTables(const TOMLDocument& in) {
    std::vector<TOMLTable> tables;
    std::ranges::copy_if(in.tables, std::back_inserter(tables), [](const TOMLTable& table) {
        return table.name.size() > 2 && std::ranges::equal(std::span{table.name}.first(2), tableName());
    });
    return tables;
}

BlockFinding CodexMCP::find(const TOMLDocument& document, bool createdByUs) const {
    const auto below = subTables(document);
    const TOMLTable* table = document.table(tableName());
    if (table == nullptr) {
        if (below.empty()) return BlockFinding::Absent{};
        return BlockFinding::Drifted{{fmt::format("the table [{}] is here with no Larkmoor MCP table above it",
                                                  TOMLText::joined(below.front().name))}};
    }
    std::vector<std::string> reasons;
    reasons.reserve(below.size());
    for (const TOMLTable& each : below) {
        reasons.push_back(
            fmt::format("the table [{}] hangs under the Larkmoor MCP entry here, and this build did not write it",
                        TOMLText::joined(each.name)));
    }
    const Entries entries = document.entries(*table);
    const auto command = commandOf(entries);
    if (!command || ownership(entries, createdByUs) == Ownership::foreign) {
        reasons.emplace_back("the Larkmoor MCP entry here was written by hand and is not the one this build writes");
    } else {
        for (std::string& reason : Drift::reasons(*command, paths.mcpBinary, paths.mcpBinary)) {
            reasons.push_back(std::move(reason));
        }
        if (*command == paths.mcpBinary && !matchesOurShape(entries)) {
            reasons.emplace_back("the entry's shape is not the one this build writes");
        }
    }
    if (reasons.empty()) return BlockFinding::Connected{};
    return BlockFinding::Drifted{std::move(reasons)};
}

std::optional<std::string> CodexMCP::refusalReason(const TOMLDocument& document, bool createdByUs) const {
    if (const auto below = subTables(document); !below.empty()) {
        return fmt::format(
            "the table [{}] hangs under the Larkmoor MCP entry, and writing this file would leave it holding an entry "
            "with no command",
            TOMLText::joined(below.front().name));
    }
    const TOMLTable* table = document.table(tableName());
    if (table == nullptr || ownership(document.entries(*table), createdByUs) == Ownership::ours) return std::nullopt;
    return fmt::format("the [{}] entry here was written by hand and is not one this build wrote",
                       TOMLText::joined(tableName()));
}

std::int64_t CodexMCP::interiorComments(const TOMLTable& table, const TOMLFile& in) {
    const Entries entries = in.document.entries(table);
    const std::string_view text = asText(in.bytes);
    const auto end = static_cast<std::size_t>(TOMLEdit::ownEnd(in.bytes, table, entries));
    // A line of a string may begin with a "#" too.
    const auto isInString = [&](std::size_t line) {
        return std::ranges::any_of(entries, [&](const TOMLEntry& entry) {
            const bool isIn = std::cmp_greater(line, entry.keyStart) && std::cmp_less(line, entry.valueEnd);
            return isIn && (entry.raw.starts_with('"') || entry.raw.starts_with('\''));
        });
    };
    std::int64_t count = 0;
    for (auto line = static_cast<std::size_t>(table.bodyStart); line < end;) {
        const std::size_t next = std::min(text.find('\n', line), end - 1) + 1;
        const std::size_t first = text.find_first_not_of(" \t", line);
        if (first < next && text[first] == '#' && !isInString(line)) ++count;
        line = next;
    }
    return count;
}

std::expected<BlockInstalled, TOMLEditFailure> CodexMCP::installed(const TOMLFile& file) const {
    const TOMLTable* table = file.document.table(tableName());
    if (table != nullptr && matchesOurShape(file.document.entries(*table))) return BlockInstalled{file};
    const std::int64_t comments = table == nullptr ? 0 : interiorComments(*table, file);
    const TOMLEdit::Line lines[] = {{"command", TOMLText::quote(paths.mcpBinary)}, {"args", "[]"}};
    auto edited = TOMLEdit::setTable(file.bytes, tableName(), lines);
    if (!edited) return std::unexpected{TOMLEditFailure{std::move(edited.error())}};
    auto next = TOMLFile::read(std::move(edited->bytes));
    if (!next) return std::unexpected{TOMLEditFailure{std::move(next.error())}};
    BlockInstalled result{std::move(*next)};
    if (comments > 0) {
        result.notes = {fmt::format("{} comment lines inside the Larkmoor MCP entry were replaced", comments)};
    }
    if (!edited->created) return result;
    result.made.created.insert(Created::codexMCPTable);
    // Behind the last line that was there, the table can leave a line feed; in place of an older table nothing is left.
    if (edited->appendedTrailingNewline) result.made.created.insert(Created::codexConfigTrailingNewline);
    return result;
}

std::expected<TOMLFile, TOMLEditFailure> CodexMCP::removed(TOMLFile file) {
    if (file.document.table(tableName()) == nullptr) return file;
    auto edited = TOMLEdit::removeTable(file.bytes, tableName());
    if (!edited) return std::unexpected{std::move(edited.error())};
    auto next = TOMLFile::read(std::move(*edited));
    if (!next) return std::unexpected{TOMLEditFailure{std::move(next.error())}};
    return std::move(*next);
}

}  // namespace larkmoor
