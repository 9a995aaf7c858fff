// Numbers in texts that hold nothing else.
#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>
#include <system_error>

namespace larkmoor {

/// The number that the whole text is: digits, behind a minus if the type has one; nullopt for anything else, and for a
/// number that the type does not hold.
template <std::integral Number>
std::optional<Number> wholeNumber(std::string_view text, int base = 10) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, failed] = std::from_chars(text.data(), end, number, base);
    return failed == std::errc{} && stop == end ? std::optional{number} : std::nullopt;
}

}  // namespace larkmoor
