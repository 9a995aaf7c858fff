// What a scan or an edit was found to break, and the question that all of them are asked.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/Splice.h"

namespace larkmoor::testing {

/// In words; nothing if nothing is broken.
using Broken = std::optional<std::string>;

/// The result is the document with this one range replaced: every byte outside is as it was.
inline Broken changedOutside(ByteRange range, BytesView before, BytesView after) {
    const std::string_view head = asText(before).substr(0, static_cast<std::size_t>(range.start));
    const std::string_view tail = asText(before).substr(static_cast<std::size_t>(range.end));
    if (asText(after).size() < head.size() + tail.size()) return "the result is too short";
    if (!asText(after).starts_with(head)) return "bytes before the range changed";
    if (!asText(after).ends_with(tail)) return "bytes behind the range changed";
    return std::nullopt;
}

/// How many to go on by, so as to ask of about `most` out of so many, spread over them.
constexpr std::size_t strideOver(std::size_t count, std::size_t most) { return count / most + 1; }

}  // namespace larkmoor::testing
