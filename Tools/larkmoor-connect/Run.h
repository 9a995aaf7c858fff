// The tool as a function: from its arguments to its exit status and output.
#pragma once

#include <string>
#include <vector>

#include "Outcome.h"

namespace larkmoor::connect {

/// `arguments` are those after the program's name. Works on the files under the home that they name.
Outcome run(const std::vector<std::string>& arguments);

}  // namespace larkmoor::connect
