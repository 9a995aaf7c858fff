#include "LarkmoorConnectors/ConfigFile/JSONLayout.h"

#include <algorithm>

namespace larkmoor::JSONLayout {

ByteRange whitespaceRun(BytesView document, std::int64_t before) {
    const std::string_view text = textOf({0, before}, document);
    const std::size_t last = text.find_last_not_of(" \t\n\r");
    return {last == std::string_view::npos ? 0 : static_cast<std::int64_t>(last + 1), before};
}

std::string_view lineIndent(BytesView document, std::int64_t of) {
    std::string_view line = textOf({0, of}, document);
    line.remove_prefix(line.rfind('\n') + 1);
    return line.substr(0, std::min(line.find_first_not_of(" \t"), line.size()));
}

bool spansLines(BytesView document, ByteRange range) { return textOf(range, document).contains('\n'); }

std::string_view indentUnit(BytesView document, const JSONNode& root) {
    std::string_view unit;
    if (!root.members().empty()) unit = lineIndent(document, root.members().front().keyStart);
    if (!root.elements().empty()) unit = lineIndent(document, root.elements().front().start);
    return unit.empty() ? "  " : unit;
}

InsertionPrefix insertionPrefix(BytesView document, std::int64_t before, std::string_view newline) {
    const std::string_view prefix = textOf(whitespaceRun(document, before), document);
    const std::size_t lineFeed = prefix.rfind('\n');
    const bool spread = lineFeed != std::string_view::npos;
    return {prefix, spread ? prefix.substr(lineFeed + 1) : std::string_view{}, {spread, std::string{newline}}};
}

}  // namespace larkmoor::JSONLayout

namespace larkmoor::JSONComments {

namespace {

bool isLineComment(BytesView bytes, ByteRange comment) { return textOf(comment, bytes).starts_with("//"); }

/// A carriage return alone does not end a line comment.
bool startsWithLineEnding(std::string_view text) { return text.starts_with('\n') || text.starts_with("\r\n"); }

}  // namespace

std::expected<std::optional<ByteRange>, JSONTextError> span(BytesView in, std::int64_t at) {
    const std::string_view text = asText(in);
    const auto first = static_cast<std::size_t>(at);
    const std::string_view opening = text.substr(first, 2);
    if (opening == "//") {
        std::size_t end = std::min(text.find('\n', first), text.size());
        if (end != text.size() && text[end - 1] == '\r') --end;
        return ByteRange{at, static_cast<std::int64_t>(end)};
    }
    if (opening == "/*") {
        const std::size_t closing = text.find("*/", first + 2);
        if (closing == std::string_view::npos) {
            return std::unexpected{JSONTextError::unreadable(at, "the document ended inside a comment")};
        }
        return ByteRange{at, static_cast<std::int64_t>(closing + 2)};
    }
    return std::nullopt;
}

std::span<const ByteRange> inside(std::span<const ByteRange> comments, ByteRange range) {
    const auto first = std::ranges::lower_bound(comments, range.start, {}, &ByteRange::start);
    const auto last = std::ranges::upper_bound(first, comments.end(), range.end, {}, &ByteRange::end);
    return {first, last};
}

std::size_t count(std::span<const ByteRange> comments, ByteRange range) { return inside(comments, range).size(); }

std::string preserved(BytesView bytes, ByteRange range, std::span<const ByteRange> comments, std::string_view newline) {
    // A line comment that ends where the range begins must not swallow what follows the range, either.
    const auto before = std::ranges::find(comments, range.start, &ByteRange::end);
    bool lineIsOpen = before != comments.end() && isLineComment(bytes, *before);
    std::int64_t past = range.start;
    std::string kept;
    for (const ByteRange comment : inside(comments, range)) {
        // The blanks at the end of a line comment belong to the comment.
        const ByteRange blanks{std::max(JSONLayout::whitespaceRun(bytes, comment.start).start, past), comment.start};
        if (lineIsOpen && !JSONLayout::spansLines(bytes, blanks)) kept += newline;
        kept += textOf({blanks.start, comment.end}, bytes);
        lineIsOpen = isLineComment(bytes, comment);
        past = comment.end;
    }
    const std::string_view after = asText(bytes).substr(static_cast<std::size_t>(range.end));
    if (lineIsOpen && !startsWithLineEnding(after)) kept += newline;
    return kept;
}

}  // namespace larkmoor::JSONComments
