// Finds where a TOML value ends, without asking what it means.
#pragma once

#include <cstdint>
#include <expected>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/TOMLTextError.h"

namespace larkmoor::TOMLText {

/// The offset one past the last byte of the value that begins at `start`, trailing blanks excluded.
std::expected<std::int64_t, TOMLTextError> consumeValue(BytesView bytes, std::int64_t start);

/// Whether the blank at `space` parts the date before it from its time, and so does not end the value.
bool isDateTimeSeparator(BytesView bytes, std::int64_t valueStart, std::int64_t valueEnd, std::int64_t space);

}  // namespace larkmoor::TOMLText
