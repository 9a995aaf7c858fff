#include "LarkmoorConnectors/ConfigFile/JSONLayout.h"

#include <algorithm>

namespace larkmoor::JSONLayout {

std::string_view textOf(ByteRange range, BytesView document) {
    const auto start = static_cast<std::size_t>(range.start);
    return asText(document).substr(start, static_cast<std::size_t>(range.end) - start);
}

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
