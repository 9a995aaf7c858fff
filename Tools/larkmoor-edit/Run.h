// The tool's work, from its words to what it says.
#pragma once

#include <string>
#include <vector>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor::edit {

struct Outcome {
    int status = 0;          ///< the exit status
    Bytes output{};          ///< for standard output
    std::string errors{};    ///< for standard error
    bool committed = false;  ///< a file was changed, and no failure to print may tell otherwise
};

/// `words` are those behind the program's name. Reads the file named, and with --in-place replaces it.
Outcome run(std::vector<std::string> words);

}  // namespace larkmoor::edit
