#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>

#include "LarkmoorConnectors/ConfigFile/Splice.h"

namespace larkmoor {

namespace {

/// Scans the file line by line. A function that returns false has left the reason in `error_`, and the scan ends.
class Scanner {
  public:
    explicit Scanner(BytesView bytes) {
        document_.file = std::make_shared<const std::string>(asText(bytes));
        file_ = *document_.file;
        at_ = static_cast<std::size_t>(TOMLText::documentStart(asBytes(file_)));
    }

    std::expected<TOMLDocument, TOMLTextError> scan() {
        document_.tables.push_back({{}, false, offset(), offset(), offset()});
        for (skipBlanks(); !atEnd(); skipBlanks()) {
            if (!line()) return std::unexpected{std::move(error_)};
        }
        document_.tables.back().bodyEnd = offset();
        return std::move(document_);
    }

  private:
    bool atEnd() const { return at_ == file_.size(); }
    bool standsAt(char byte) const { return !atEnd() && file_[at_] == byte; }
    std::int64_t offset() const { return static_cast<std::int64_t>(at_); }

    [[nodiscard]] bool fail(const char* reason) { return fail(TOMLTextError::unreadable(offset(), reason)); }
    [[nodiscard]] bool fail(TOMLTextError error) {
        error_ = std::move(error);
        return false;
    }

    bool skip(char byte) {
        if (!standsAt(byte)) return false;
        ++at_;
        return true;
    }
    void skipBlanks() {
        while (standsAt(' ') || standsAt('\t')) ++at_;
    }
    void skipToLineFeed() { at_ = std::min(file_.find('\n', at_), file_.size()); }

    /// Appends an item. Reallocation of a long list costs more than the rest of the scan, so the list reserves what the
    /// file needs if it goes on like this.
    template <class T>
    T& added(std::vector<T>& list) {
        if (list.size() == list.capacity()) {
            const std::size_t known = list.size();
            const std::size_t expected = known * file_.size() / at_ * 9 / 8;
            list.reserve(known < 16 ? 16 : std::clamp(expected, 2 * known, 1024 * known));
        }
        return list.emplace_back();
    }

    /// Reads from the first byte that is not blank to past the line feed.
    [[nodiscard]] bool line() {
        switch (file_[at_]) {
            case '\n':
            case '\r':
            case '#':
                skipToLineFeed();
                skip('\n');
                return true;
            case '[':
                return header();
            default:
                return entry();
        }
    }

    [[nodiscard]] bool header() {
        document_.tables.back().bodyEnd = offset();
        const std::int64_t headerStart = offset();
        ++at_;
        TOMLTable& table = added(document_.tables);
        table.headerStart = headerStart;
        table.isArrayElement = skip('[');
        if (!dottedKey(table.name, ']')) return false;
        if (table.isArrayElement && !skip(']')) return fail("a table header did not close");
        if (!restOfLine()) return false;
        table.bodyStart = offset();
        return true;
    }

    [[nodiscard]] bool entry() {
        const std::int64_t keyStart = offset();
        TOMLName key;
        if (!dottedKey(key, '=')) return false;
        skipBlanks();
        auto end = TOMLText::consumeValue(asBytes(file_), offset());
        if (!end) return fail(std::move(end.error()));
        TOMLEntry& entry = added(document_.allEntries);
        added(document_.tableOfEntry) = document_.tables.size() - 1;
        entry.key = std::move(key);
        entry.keyStart = keyStart;
        entry.valueEnd = *end;
        entry.raw = file_.substr(at_, static_cast<std::size_t>(*end) - at_);
        at_ = static_cast<std::size_t>(*end);
        if (!restOfLine()) return false;
        entry.lineEnd = offset();
        return true;
    }

    /// Reads the parts of a dotted key and the byte that ends it.
    [[nodiscard]] bool dottedKey(TOMLName& into, char ending) {
        do {
            skipBlanks();
            if (!keyPart(into)) return false;
            skipBlanks();
        } while (skip('.'));
        if (atEnd()) return fail("the file ended inside a key");
        return skip(ending) || fail("a key held a character that is not allowed in one");
    }

    [[nodiscard]] bool keyPart(TOMLName& into) {
        if (atEnd()) return fail("the file ended inside a key");
        if (standsAt('"') || standsAt('\'')) {
            auto part = TOMLText::parseString(asBytes(file_), offset());
            if (!part) return fail(std::move(part.error()));
            at_ = static_cast<std::size_t>(part->end);
            into.push_back(std::move(part->text));
            return true;
        }
        const std::size_t start = at_;
        while (!atEnd() && isTOMLBareKey(file_[at_])) ++at_;
        if (at_ == start) return fail("a key was expected");
        into.emplace_back(file_.substr(start, at_ - start));
        return true;
    }

    /// Skips blanks and a comment to past the line feed, or to the end of the file; anything else is an error.
    [[nodiscard]] bool restOfLine() {
        skipBlanks();
        skip('\r');
        if (standsAt('#')) skipToLineFeed();
        return atEnd() || skip('\n') || fail("there are bytes after the end of a value");
    }

    TOMLDocument document_;
    std::string_view file_;  ///< the document's own text
    std::size_t at_ = 0;
    TOMLTextError error_;
};

}  // namespace

namespace TOMLText {

std::expected<TOMLDocument, TOMLTextError> scan(BytesView bytes) { return Scanner{bytes}.scan(); }

std::string_view lineEnding(BytesView bytes) { return larkmoor::lineEnding(bytes); }

std::int64_t documentStart(BytesView bytes) { return asText(bytes).starts_with("\xEF\xBB\xBF") ? 3 : 0; }

}  // namespace TOMLText

}  // namespace larkmoor
