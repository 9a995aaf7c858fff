// What a table or a key of a TOML document is called: its dotted parts, decoded.
#pragma once

#include <boost/container/small_vector.hpp>

#include <string>

namespace larkmoor {

/// [a."b.c"] is {"a", "b.c"}; the empty list names the root table. Nearly every key has one part, which needs no
/// allocation.
using TOMLName = boost::container::small_vector<std::string, 1>;

}  // namespace larkmoor
