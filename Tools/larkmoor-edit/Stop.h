// An end without a result.
#pragma once

#include <string>

namespace larkmoor::edit {

struct [[nodiscard]] Stop {
    static constexpr int refused = 1;
    static constexpr int wrongUsage = 2;

    int status = refused;  ///< the exit status
    std::string words;     ///< for a person
};

}  // namespace larkmoor::edit
