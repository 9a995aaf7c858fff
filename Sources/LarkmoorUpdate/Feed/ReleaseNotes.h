// Release notes as the text of an alert. Pure; takes any bytes.
#pragma once

#include <string>
#include <string_view>

namespace larkmoor::ReleaseNotes {

inline constexpr std::size_t mostBytes = 4000;

/// Well-formed UTF-8 without control characters but line feeds, cut with "…" above `mostBytes`. Of HTML the text alone,
/// with its paragraphs and lists as lines.
std::string plainText(std::string_view notes, bool isHTML);

}  // namespace larkmoor::ReleaseNotes
