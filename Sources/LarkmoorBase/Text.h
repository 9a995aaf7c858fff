// The few things that the family does to text at its edges.
#pragma once

#include <string>
#include <string_view>

namespace larkmoor {

/// `text` without white space and newlines at both ends. The view lives as long as `text`.
std::string_view trimmed(std::string_view text);

}  // namespace larkmoor
