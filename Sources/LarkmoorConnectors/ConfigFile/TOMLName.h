// What a table or a key of a TOML document is called: its dotted parts, decoded.
#pragma once

#include <string>
#include <vector>

namespace larkmoor {

/// [a."b.c"] is {"a", "b.c"}; the empty list names the root table.
using TOMLName = std::vector<std::string>;

}  // namespace larkmoor
