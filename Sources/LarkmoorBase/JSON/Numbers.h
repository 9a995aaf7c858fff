// JSON numbers, from their text and to it. Never by way of a locale.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor::Numbers {

/// The value of a JSON number that is whole and fits: "5", "5.0" and "5e0" are 5; "0.5" and "1e30" are nothing.
std::optional<std::int64_t> whole(std::string_view number);

/// The nearest double, or nothing beyond the finite range; what is too small to tell from zero is zero.
std::optional<double> finite(std::string_view number);

}  // namespace larkmoor::Numbers
