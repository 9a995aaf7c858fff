#include "LarkmoorConnectors/ConfigFile/JSONComments.h"

#include <algorithm>

#include "LarkmoorConnectors/ConfigFile/JSONLayout.h"

namespace larkmoor::JSONComments {

namespace {

bool isLineComment(BytesView bytes, ByteRange comment) { return JSONLayout::textOf(comment, bytes).starts_with("//"); }

/// Nothing else ends a line comment: a carriage return alone is part of it.
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
    // A line comment that ends where the range begins must not swallow what comes after the range, either.
    const auto before = std::ranges::find(comments, range.start, &ByteRange::end);
    bool lineIsOpen = before != comments.end() && isLineComment(bytes, *before);
    std::int64_t past = range.start;
    std::string kept;
    for (const ByteRange comment : inside(comments, range)) {
        // The blanks at the end of a line comment are its own.
        const ByteRange blanks{std::max(JSONLayout::whitespaceRun(bytes, comment.start).start, past), comment.start};
        if (lineIsOpen && !JSONLayout::spansLines(bytes, blanks)) kept += newline;
        kept += JSONLayout::textOf({blanks.start, comment.end}, bytes);
        lineIsOpen = isLineComment(bytes, comment);
        past = comment.end;
    }
    const std::string_view behind = asText(bytes).substr(static_cast<std::size_t>(range.end));
    if (lineIsOpen && !startsWithLineEnding(behind)) kept += newline;
    return kept;
}

}  // namespace larkmoor::JSONComments
