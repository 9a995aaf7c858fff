// The verbs of larkmoor-update: each is one function from its arguments to what the tool prints and returns.
#pragma once

#include <string>

#include "Verbs.h"

namespace larkmoor::update {

struct Arguments : VerbArguments {
    std::string build{};   ///< of the application that looks for an update
    std::string system{};  ///< the system's version
    std::string base{};    ///< the feed's address
};

/// How two versions stand to each other.
Outcome compare(const Arguments& arguments);

}  // namespace larkmoor::update
