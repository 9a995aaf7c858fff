// The tool as a function: from its arguments to its exit status and output.
#pragma once

#include <string>
#include <vector>

namespace larkmoor::connect {

struct Outcome {
    static constexpr int refused = 1;
    static constexpr int wrongUsage = 2;

    int status = 0;        ///< the exit status
    std::string output{};  ///< for standard output
    std::string errors{};  ///< for standard error
};

/// `arguments` are those after the program's name. Works on the files under the home that they name.
Outcome run(const std::vector<std::string>& arguments);

}  // namespace larkmoor::connect
