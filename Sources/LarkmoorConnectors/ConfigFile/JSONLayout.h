// The layout of a JSON file, measured on its bytes, so that an edit writes in the file's own style and keeps the user's
// comments. Offsets are in bytes; views are valid as long as the document's bytes are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"
#include "LarkmoorConnectors/ConfigFile/Splice.h"

namespace larkmoor {

namespace JSONLayout {

/// The run of spaces, tabs, line feeds and carriage returns that ends at the offset.
ByteRange whitespaceRun(BytesView document, std::int64_t before);

/// The spaces and tabs at the start of the line that holds the offset, up to the offset at most.
std::string_view lineIndent(BytesView document, std::int64_t of);

/// Whether a line feed lies in the range.
bool spansLines(BytesView document, ByteRange range);

/// By how much the file indents one level: the indent of the root's first child, or two spaces.
std::string_view indentUnit(BytesView document, const JSONNode& root);

/// How a new child begins, so that it looks like the child that is now the last.
struct InsertionPrefix {
    std::string_view prefix;  ///< the white space before it, byte for byte
    std::string_view indent;  ///< that of its line
    RenderStyle style;
};

/// `before` is where the last child begins.
InsertionPrefix insertionPrefix(BytesView document, std::int64_t before, std::string_view newline);

}  // namespace JSONLayout

namespace JSONComments {

/// The comment that begins at the offset, if there is one; an error if it never ends. A line comment stops before its
/// line feed, and before a carriage return in front of that.
std::expected<std::optional<ByteRange>, JSONTextError> span(BytesView in, std::int64_t at);

// `comments` are in document order.

/// How many of the comments lie wholly inside the range.
std::size_t count(std::span<const ByteRange> comments, ByteRange range);

/// Those of the comments that lie wholly inside the range.
std::span<const ByteRange> inside(std::span<const ByteRange> comments, ByteRange range);

/// What takes the range's place when it is removed: the comments inside it, each with the white space before it, and
/// newlines where a line comment would swallow what follows. Empty when there is nothing to keep.
std::string preserved(BytesView bytes, ByteRange range, std::span<const ByteRange> comments, std::string_view newline);

}  // namespace JSONComments

}  // namespace larkmoor
