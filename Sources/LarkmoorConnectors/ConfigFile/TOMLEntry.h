// One key of a TOML document with its value, which stays the text that the user wrote. Its offsets belong to the very
// bytes that were scanned: after an edit they mean nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorConnectors/ConfigFile/TOMLName.h"

namespace larkmoor {

/// All offsets are in bytes from the start of the file.
struct TOMLEntry {
    TOMLName key;               ///< never empty
    std::int64_t keyStart = 0;  ///< of the key's first byte
    std::int64_t valueEnd = 0;  ///< one past the value's last byte, trailing blanks excluded
    std::int64_t lineEnd = 0;   ///< one past the line feed, so past a trailing comment too
    /// The value's bytes as they stand, whatever their encoding; lives as long as the document or a copy of it.
    std::string_view raw;

    /// The decoded string, if the whole value is one basic or literal string of one line.
    std::optional<std::string> text() const;

    bool operator==(const TOMLEntry&) const = default;
};

}  // namespace larkmoor
