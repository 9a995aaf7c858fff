#include "LarkmoorBase/JSON/Numbers.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace larkmoor::Numbers {

namespace {

/// Whether a number that no double holds is too small rather than too large: by the power of ten of its first digit.
bool isTiny(std::string_view number) {
    const auto mark = number.find_first_of("eE");
    const std::string_view digits = number.substr(0, mark);
    const auto first = digits.find_first_of("123456789");
    if (first == std::string_view::npos) return true;
    const auto point = std::min(digits.find('.'), digits.size());
    const double power = first < point ? static_cast<double>(point - first) - 1 : -static_cast<double>(first - point);
    double exponent = 0;
    if (mark != std::string_view::npos) {
        std::string_view written = number.substr(mark + 1);
        const bool isNegative = written.starts_with('-');
        if (isNegative || written.starts_with('+')) written.remove_prefix(1);
        for (const char digit : written) exponent = exponent * 10 + (digit - '0');
        if (isNegative) exponent = -exponent;
    }
    return power + exponent < 0;
}

}  // namespace

std::optional<std::int64_t> whole(std::string_view number) {
    const char* end = number.data() + number.size();
    std::int64_t value = 0;
    const auto exact = std::from_chars(number.data(), end, value);
    if (exact.ptr == end) return exact.ec == std::errc{} ? std::optional{value} : std::nullopt;
    const std::optional<double> near = finite(number);
    // 2^63 is a double, and the first that no longer fits.
    constexpr double limit = 0x1p63;
    if (!near || std::trunc(*near) != *near || *near < -limit || *near >= limit) return std::nullopt;
    return static_cast<std::int64_t>(*near);
}

std::optional<double> finite(std::string_view number) {
    double value = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec == std::errc{}) return std::isfinite(value) ? std::optional{value} : std::nullopt;
    if (result.ec == std::errc::result_out_of_range && isTiny(number)) return number.starts_with('-') ? -0.0 : 0.0;
    return std::nullopt;
}

}  // namespace larkmoor::Numbers
