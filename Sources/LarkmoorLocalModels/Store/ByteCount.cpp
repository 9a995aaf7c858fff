#include "LarkmoorLocalModels/Store/ByteCount.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace larkmoor {

std::string ByteCount::label(std::int64_t bytes) {
    constexpr double megabyte = 1e6, gigabyte = 1e9;
    const auto count = static_cast<double>(std::max<std::int64_t>(bytes, 0));
    if (count < megabyte) return fmt::format("{} B", std::max<std::int64_t>(bytes, 0));
    if (count < gigabyte) return fmt::format("{:.0f} MB", std::round(count / megabyte));
    return fmt::format("{:.1f} GB", count / gigabyte);
}

}  // namespace larkmoor
