// A count of bytes as a person reads it in a log.
#pragma once

#include <cstdint>
#include <string>

namespace larkmoor::ByteCount {

/// "12 B", "513 MB", "2.5 GB": decimal units, whole below a gigabyte. A negative count is 0.
std::string label(std::int64_t bytes);

}  // namespace larkmoor::ByteCount
