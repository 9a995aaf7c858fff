// The two kinds of TOML string that stay on one line, decoded.
#pragma once

#include <cstdint>
#include <expected>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/TOMLTextError.h"

namespace larkmoor {

struct TOMLString {
    std::string text;      ///< decoded
    std::int64_t end = 0;  ///< the offset one past the closing quote

    bool operator==(const TOMLString&) const = default;
};

namespace TOMLText {

/// The string whose opening `"` is at `start`; every failure carries that offset.
std::expected<TOMLString, TOMLTextError> parseBasicString(BytesView bytes, std::int64_t start);

/// The string whose opening `'` is at `start`; every failure carries that offset.
std::expected<TOMLString, TOMLTextError> parseLiteralString(BytesView bytes, std::int64_t start);

/// Whichever of the two opens at `start`.
std::expected<TOMLString, TOMLTextError> parseString(BytesView bytes, std::int64_t start);

/// The offset past the string that opens at `start`, with the same failures, for who does not need its text.
std::expected<std::int64_t, TOMLTextError> pastString(BytesView bytes, std::int64_t start);

}  // namespace TOMLText

}  // namespace larkmoor
