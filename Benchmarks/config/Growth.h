// What a document costs as it grows.
#pragma once

#include <any>
#include <cstddef>
#include <functional>
#include <string>

namespace larkmoor::bench {

/// Prints time and memory of scanning 1, 4, 16 and 64 MiB. `scan` returns what a caller would hold.
void growth(const char* what, const std::function<std::string(std::size_t)>& document,
            const std::function<std::any(const std::string&)>& scan);

}  // namespace larkmoor::bench
