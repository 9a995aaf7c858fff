// A stretch of one particular document.
#pragma once

#include <cstdint>

namespace larkmoor {

/// Byte offsets, half open: `start` is the first byte's, `end` the one past the last byte's.
struct ByteRange {
    std::int64_t start = 0;
    std::int64_t end = 0;

    bool operator==(const ByteRange&) const = default;
};

}  // namespace larkmoor
