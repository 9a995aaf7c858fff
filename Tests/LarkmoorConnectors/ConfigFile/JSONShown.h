// What an edit gave, and documents short enough for a table's row.
#pragma once

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "Support/Text.h"

namespace larkmoor::testing {

inline std::string shown(const JSONEdit::Result& result) {
    return result ? text(result->bytes()) : "refused: " + result.error().description();
}

/// The document in which ' stands for a quote and | for a line feed.
inline std::string unfolded(std::string_view row) {
    std::string document{row};
    for (char& byte : document) byte = byte == '\'' ? '"' : byte == '|' ? '\n' : byte;
    return document;
}

}  // namespace larkmoor::testing
