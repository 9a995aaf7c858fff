// Trimming and letter case of text.
#pragma once

#include <string>
#include <string_view>

namespace larkmoor {

/// `text` without the white space at both ends, line feeds included. A view of `text`.
std::string_view trimmed(std::string_view text);

/// `text` with the capitals A to Z as small letters.
std::string lowercased(std::string text);

}  // namespace larkmoor
