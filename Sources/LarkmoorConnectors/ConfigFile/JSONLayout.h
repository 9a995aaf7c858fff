// How a JSON file is laid out, measured on its own bytes, so that what is added looks like what was there.
#pragma once

#include <cstdint>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/ByteRange.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/ConfigFile/RenderStyle.h"

namespace larkmoor::JSONLayout {

/// The bytes in the range, as text. This and the other views here live as long as the document.
std::string_view textOf(ByteRange range, BytesView document);

/// The spaces, tabs, line feeds and carriage returns that end at the offset.
ByteRange whitespaceRun(BytesView document, std::int64_t before);

/// The spaces and tabs with which the line of this offset begins, as far as the offset.
std::string_view lineIndent(BytesView document, std::int64_t of);

bool spansLines(BytesView document, ByteRange range);

/// By how much the file indents one level: what stands before the root's first child, or two spaces.
std::string_view indentUnit(BytesView document, const JSONNode& root);

/// How a new child is to begin so that it stands as the last one does.
struct InsertionPrefix {
    std::string_view prefix;  ///< goes before it, as it stands
    std::string_view indent;  ///< that of its line
    RenderStyle style;
};

/// `before` is where the last child begins.
InsertionPrefix insertionPrefix(BytesView document, std::int64_t before, std::string_view newline);

}  // namespace larkmoor::JSONLayout
