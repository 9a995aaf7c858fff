// Trimming, cleaning and letter case of text, and dates as text.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace larkmoor {

/// `text` without the white space at both ends, line feeds included. A view of `text`.
std::string_view trimmed(std::string_view text);

/// `text` as one line of valid UTF-8: `control` in place of each control character, of each that changes the direction
/// of text or shows nothing (joiners stay), and of each line or paragraph separator; U+FFFD in place of each invalid
/// byte.
std::string printable(std::string_view text, std::string_view control = "\uFFFD");

/// "2026-11-22T21:05:44Z"; fractions of a second are cut off.
std::string iso8601(std::chrono::system_clock::time_point moment);

/// `text` with the capitals A to Z as small letters.
std::string lowercased(std::string text);

}  // namespace larkmoor
