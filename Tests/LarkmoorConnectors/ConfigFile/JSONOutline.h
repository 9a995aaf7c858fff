// A tree in one line, places included, so that a table can state it whole.
#pragma once

#include <fmt/format.h>

#include <string>

#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor::testing {

/// {0-9 1"a":5=true} is an object of the bytes 0 to 9 whose name "a" begins at 1; a number shows as #.
inline std::string outline(const JSONNode& node) {
    const std::string content = node.kind.visit(
        [](const JSONKind::Object& object) {
            std::string text;
            for (const JSONMember& member : object.members) {
                text += fmt::format(" {}\"{}\":{}", member.keyStart, member.key.view(), outline(member.value));
            }
            return "{" + text + "}";
        },
        [](const JSONKind::Array& array) {
            std::string text;
            for (const JSONNode& element : array.elements) text += " " + outline(element);
            return "[" + text + "]";
        },
        [](const JSONKind::String& string) { return fmt::format("'{}'", string.text); },
        [](const JSONKind::Bool& flag) { return std::string{flag.value ? "true" : "false"}; },
        [](const JSONKind::Number&) { return std::string{"#"}; },
        [](const JSONKind::Null&) { return std::string{"null"}; });
    return fmt::format("{}-{}{}", node.start, node.end, content);
}

/// The tree and then each comment's range, or the error's description.
inline std::string outline(const std::expected<JSONScan, JSONTextError>& scan) {
    if (!scan) return scan.error().description();
    std::string text = outline(scan->root);
    for (const ByteRange comment : scan->comments) text += fmt::format(" //{}-{}", comment.start, comment.end);
    return text;
}

}  // namespace larkmoor::testing
