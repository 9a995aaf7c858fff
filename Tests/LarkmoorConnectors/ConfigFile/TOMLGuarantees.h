// What a scan and an edit of TOML promise, checked against the bytes alone. The tests over generated documents and the
// fuzz targets ask the same questions. Each check answers with what is broken, or nothing.
#pragma once

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/Broken.h"
#include "LarkmoorConnectors/ConfigFile/TOMLEdit.h"
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

namespace larkmoor::testing {

class TOMLGuarantees {
  public:
    TOMLGuarantees(BytesView bytes, const TOMLDocument& document)
        : bytes_(bytes), file_(asText(bytes)), document_(document), size_(std::ssize(bytes)) {}

    /// The tables tile the file in order; entries lie in their tables, in order; what lies between is no entry.
    Broken ofTheScan() const {
        const std::int64_t start = TOMLText::documentStart(bytes_);
        const TOMLTable& root = document_.tables.front();
        if (root != TOMLTable{{}, false, start, start, root.bodyEnd}) return "the root is not at the start";
        std::size_t entries = 0;
        for (std::size_t index = 0; index < document_.tables.size(); ++index) {
            const TOMLTable& table = document_.tables[index];
            const std::int64_t next =
                index + 1 < document_.tables.size() ? document_.tables[index + 1].headerStart : size_;
            if (table.bodyEnd != next) return "a table does not end where the next one begins";
            if (table.headerStart > table.bodyStart || table.bodyStart > table.bodyEnd) return "a table runs backwards";
            const bool hasHeader = index == 0 || (byteAt(table.headerStart) == '[' && endsALine(table.bodyStart));
            if (!hasHeader || (index > 0 && table.name.empty())) return "a table has no header's line";
            for (std::size_t left = document_.entries(table).size(); left > 0; --left) {
                if (document_.tableOfEntry[entries++] != index) return "an entry is another table's";
            }
            if (auto broken = ofTheEntries(table)) return broken;
        }
        return entries == document_.allEntries.size() ? Broken{} : "an entry is no table's";
    }

    /// Of the tables and the keys about `most` of each, spread over the file: what is set changes nothing outside and
    /// is read, what was made can be taken out again, and what is removed takes nothing with it.
    Broken ofEveryEdit(std::size_t most) const {
        const std::vector<TOMLEdit::Line> lines{{"command", "\"/a b/\\\"c\""}, {"args", "[]"}};
        if (auto broken = ofSettingTable({"mcp_servers", "larkmoor"}, lines)) return broken;
        if (auto broken = ofSettingTable({"hooks", "state", "/a:b \"c\""}, lines)) return broken;
        if (auto broken = ofSettingTable(document_.tables.back().name, {})) return broken;
        const auto& tables = document_.tables;
        for (std::size_t index = 0; index < tables.size(); index += strideOver(tables.size(), most)) {
            if (auto broken = ofTable(tables[index], most)) return broken;
        }
        return std::nullopt;
    }

  private:
    using Said = std::vector<std::string>;

    static std::string said(const TOMLEntry& entry) {
        return TOMLText::joined(entry.key) + " = " + std::string{entry.raw};
    }
    static Said saidIn(const TOMLDocument& document, const TOMLTable& table) {
        Said all;
        for (const TOMLEntry& entry : document.entries(table)) all.push_back(said(entry));
        return all;
    }

    /// All headers and entries in their order; of the table `changed` those of `now`, or without them no header either.
    static Said said(const TOMLDocument& document, const TOMLTable* changed = nullptr,
                     const std::optional<Said>& now = {}) {
        Said all;
        for (const TOMLTable& table : document.tables) {
            const bool isChanged = &table == changed;
            if (!isChanged || now || table.name.empty())
                all.push_back((table.isArrayElement ? "[[" : "[") + TOMLText::joined(table.name) + "]");
            const Said entries = isChanged ? now.value_or(Said{}) : saidIn(document, table);
            all.insert(all.end(), entries.begin(), entries.end());
        }
        return all;
    }

    /// In the result the range alone changed, and this is what it says.
    Broken ofResult(BytesView result, ByteRange range, const Said& want) const {
        if (auto broken = changedOutside(range, bytes_, result)) return broken;
        const auto now = TOMLText::scan(result);
        if (!now) return "the result does not scan: " + now.error().description();
        return said(*now) == want ? Broken{} : "the result says something else";
    }

    Broken ofTable(const TOMLTable& table, std::size_t most) const {
        if (auto broken = ofSettingKey(table, "trusted_hash", "\"sha256:\\u00e9\"")) return broken;
        if (auto broken = ofSettingKey(table, "a b", "[1, # x\n2]")) return broken;
        const auto entries = document_.entries(table);
        for (std::size_t index = 0; index < entries.size(); index += strideOver(entries.size(), most)) {
            if (auto broken = ofRemovingKey(table, index)) return broken;
            if (entries[index].key.size() > 1) continue;
            if (auto broken = ofSettingKey(table, entries[index].key.front(), "'x'")) return broken;
        }
        return document_.table(table.name) == &table ? ofRemovingTable(table) : std::nullopt;
    }

    /// A table that was made can be taken out again without a trace, but for the line feed that the edit told of.
    Broken ofSettingTable(const TOMLName& name, std::span<const TOMLEdit::Line> lines) const {
        const TOMLTable* table = document_.table(name);
        const ByteRange body = table == nullptr ? ByteRange{size_, size_} : ByteRange{table->bodyStart, ownEnd(*table)};
        const auto result = TOMLEdit::setTable(bytes_, name, lines);
        if (!result) return onlyForCarriageReturn(body.start, result.error());
        if (result->created != (table == nullptr)) return "it is not said whether the table was made";
        Said entries;
        for (const TOMLEdit::Line& line : lines) entries.push_back(line.key + " = " + line.value);
        Said want = said(document_, table, entries);
        if (table == nullptr) {
            want.push_back("[" + TOMLText::joined(name) + "]");
            want.insert(want.end(), entries.begin(), entries.end());
        }
        if (auto broken = ofResult(result->bytes, body, want)) return broken;
        if (!result->created) return std::nullopt;
        if (result->appendedTrailingNewline == (file_.empty() || file_.ends_with('\n')))
            return "the line feed is not told of";
        const auto back = TOMLEdit::removeTable(result->bytes, name);
        if (!back) return "what was made cannot be removed: " + back.error().description();
        return comesBack(*back, result->appendedTrailingNewline, size_);
    }

    Broken ofSettingKey(const TOMLTable& in, const std::string& key, const std::string& value) const {
        const auto entries = document_.entries(in);
        const auto old = std::ranges::find(entries, TOMLName{key}, &TOMLEntry::key);
        const bool isNew = old == entries.end();
        const ByteRange range = isNew ? ByteRange{ownEnd(in), ownEnd(in)} : ByteRange{old->keyStart, old->valueEnd};
        const auto result = TOMLEdit::setKey(bytes_, in, entries, key, value);
        if (!result) return onlyForCarriageReturn(range.start, result.error());
        Said now = saidIn(document_, in);
        const auto place = static_cast<std::size_t>(old - entries.begin());
        if (isNew) now.emplace_back();
        now[place] = TOMLText::joined(TOMLName{key}) + " = " + value;
        if (auto broken = ofResult(result->bytes, range, said(document_, &in, now))) return broken;
        if (!isNew) return std::nullopt;
        const auto with = TOMLText::scan(result->bytes);
        const TOMLTable& table = with->tables[static_cast<std::size_t>(&in - document_.tables.data())];
        return comesBack(TOMLEdit::removeKey(result->bytes, with->entries(table).back()),
                         result->appendedTrailingNewline, range.start);
    }

    Broken ofRemovingKey(const TOMLTable& in, std::size_t index) const {
        const TOMLEntry& entry = document_.entries(in)[index];
        const Bytes result = TOMLEdit::removeKey(bytes_, entry);
        std::int64_t start = entry.keyStart;
        while (start > 0 && (byteAt(start - 1) == ' ' || byteAt(start - 1) == '\t')) --start;
        if (std::ssize(result) != size_ - (entry.lineEnd - start)) return "not the line alone went";
        Said left = saidIn(document_, in);
        left.erase(left.begin() + static_cast<std::ptrdiff_t>(index));
        return ofResult(result, {start, entry.lineEnd}, said(document_, &in, left));
    }

    Broken ofRemovingTable(const TOMLTable& table) const {
        const auto result = TOMLEdit::removeTable(bytes_, table.name);
        if (!result) return "refused: " + result.error().description();
        const std::int64_t start = TOMLEdit::startOfOneBlankLine(bytes_, table.headerStart), end = ownEnd(table);
        if (between(start, table.headerStart).find_first_not_of(" \t\r\n") != std::string_view::npos) {
            return "more than a blank line went";
        }
        if (std::ssize(*result) != size_ - (end - start)) return "not the table alone went";
        return ofResult(*result, {start, end}, said(document_, &table));
    }

    Broken comesBack(BytesView result, bool withNewline, std::int64_t insertion) const {
        std::string want{file_};
        if (withNewline) want.insert(static_cast<std::size_t>(insertion), TOMLText::lineEnding(bytes_));
        return asText(result) == want ? Broken{} : "taking out what was added does not give back the file";
    }

    /// The comment lines directly above the next header belong to that one.
    std::int64_t ownEnd(const TOMLTable& table) const {
        if (table.bodyEnd == size_) return size_;
        const auto entries = document_.entries(table);
        std::int64_t line = entries.empty() ? table.bodyStart : entries.back().lineEnd, end = table.bodyEnd;
        for (bool wasComment = false; line < table.bodyEnd;) {
            const std::string_view rest = between(line, table.bodyEnd);
            const std::size_t first = rest.find_first_not_of(" \t"), feed = rest.find('\n');
            if (feed == std::string_view::npos) break;
            const bool isComment = rest[first] == '#';
            if (!isComment || !wasComment) end = isComment ? line : table.bodyEnd;
            wasComment = isComment;
            line += static_cast<std::int64_t>(feed) + 1;
        }
        return end;
    }

    char byteAt(std::int64_t offset) const { return file_[static_cast<std::size_t>(offset)]; }
    bool endsALine(std::int64_t offset) const { return offset == size_ || (offset > 0 && byteAt(offset - 1) == '\n'); }

    std::string_view between(std::int64_t start, std::int64_t end) const {
        return file_.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
    }

    Broken ofTheEntries(const TOMLTable& table) const {
        std::int64_t at = table.bodyStart;
        for (const TOMLEntry& entry : document_.entries(table)) {
            if (entry.keyStart < at || entry.lineEnd > table.bodyEnd) return "an entry lies outside its place";
            if (!holdsNoEntry(between(at, entry.keyStart))) return "an entry was passed over";
            if (entry.key.empty() || entry.raw.empty()) return "an entry has no key or no value";
            if (entry.valueEnd > entry.lineEnd || !endsALine(entry.lineEnd)) return "an entry's line goes on";
            const std::string_view said = between(entry.keyStart, entry.valueEnd);
            if (!said.ends_with(entry.raw)) return "a value is not what was written";
            const std::string_view key = said.substr(0, said.size() - entry.raw.size());
            if (!key.substr(0, key.find_last_not_of(" \t") + 1).ends_with('=')) return "a value begins elsewhere";
            const std::string_view rest = between(entry.valueEnd, entry.lineEnd);
            const std::size_t first = rest.find_first_not_of(" \t\r\n");
            if (first != std::string_view::npos && rest[first] != '#') return "a value ends elsewhere";
            at = entry.lineEnd;
        }
        return holdsNoEntry(between(at, table.bodyEnd)) ? Broken{} : "an entry was passed over";
    }

    /// Whether each line is blank, a comment, or begun by a carriage return.
    static bool holdsNoEntry(std::string_view lines) {
        while (!lines.empty()) {
            const std::string_view line = lines.substr(0, lines.find('\n') + 1);
            const std::size_t first = lines.find_first_not_of(" \t");
            if (first != std::string_view::npos && !std::string_view{"\n\r#"}.contains(lines[first])) return false;
            if (line.empty()) return true;
            lines.remove_prefix(line.size());
        }
        return true;
    }

    /// The one file that an edit of well-formed lines refuses: its last line ends in a bare carriage return, which the
    /// line feed that we would add turns into half a line ending.
    Broken onlyForCarriageReturn(std::int64_t insertion, const TOMLTextError& error) const {
        if (insertion == size_ && size_ > 0 && byteAt(size_ - 1) == '\r') return std::nullopt;
        return "refused: " + error.description();
    }

    BytesView bytes_;
    std::string_view file_;
    const TOMLDocument& document_;
    std::int64_t size_;
};

}  // namespace larkmoor::testing
