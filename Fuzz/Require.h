// How a fuzz target tells of a guarantee that does not hold: in words, and by the end of the process.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

namespace larkmoor::fuzz {

inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "broken guarantee: %s\n", what);
    std::abort();
}

/// Nothing is broken where there is nothing.
inline void require(const std::optional<std::string>& broken) {
    if (broken) require(false, broken->c_str());
}

}  // namespace larkmoor::fuzz
