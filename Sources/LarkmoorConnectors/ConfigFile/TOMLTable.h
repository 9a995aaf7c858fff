// Where one table of a TOML document stands. Its offsets belong to the very bytes that were scanned: after an edit they
// mean nothing.
#pragma once

#include <cstdint>

#include "LarkmoorConnectors/ConfigFile/TOMLName.h"

namespace larkmoor {

/// All offsets are in bytes from the start of the file.
struct TOMLTable {
    TOMLName name;                 ///< empty for the root table, which stands first in every document
    bool isArrayElement = false;   ///< a [[name]] header
    std::int64_t headerStart = 0;  ///< of the header's `[`; for the root just after any byte-order mark
    std::int64_t bodyStart = 0;    ///< just past the header's line; for the root the same as `headerStart`
    std::int64_t bodyEnd = 0;      ///< of the next header's `[`, or the end of the file

    bool operator==(const TOMLTable&) const = default;
};

}  // namespace larkmoor
