// Trimming of text.
#pragma once

#include <string>
#include <string_view>

namespace larkmoor {

/// `text` without the white space at both ends, line feeds included. A view of `text`.
std::string_view trimmed(std::string_view text);

}  // namespace larkmoor
