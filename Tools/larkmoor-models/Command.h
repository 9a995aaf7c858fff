// The verbs of larkmoor-models: each is one function from its arguments to what the tool prints and returns.
#pragma once

#include <string>

#include "Verbs.h"

namespace larkmoor::models {

struct Arguments : VerbArguments {
    bool verbose = false;  ///< what would be written to the setup log goes to standard error
    std::string home{};    ///< in place of $HOME
    std::string host{};    ///< HOST:PORT; empty for the model host's own
    // Of a pass.
    std::string bundle{};  ///< whose helpers are run; empty for this build's own
    std::string runtimeURL{}, runtimeSHA256{}, runtimeExecutable{};  ///< in place of what the build was configured for
    std::string authorities{};  ///< a file of certificates to trust instead of the system's
    std::string plan{};         ///< a progress file
};

Outcome deleteModel(const Arguments& arguments);
Outcome digest(const Arguments& arguments);
/// What the menu would show of the progress file; nothing of one that cannot be read.
Outcome line(const Arguments& arguments);
Outcome move(const Arguments& arguments);

/// Asks the application, or the tool's `pass`, for the cancel, and waits for its receipt.
Outcome cancel(const Arguments& arguments);
/// What a launch of the application does about the models; fails if a row is not done.
Outcome pass(const Arguments& arguments);
/// What a cancel would undo, by a progress file.
Outcome undo(const Arguments& arguments);

Outcome ping(const Arguments& arguments);
Outcome pull(const Arguments& arguments);
Outcome tags(const Arguments& arguments);

}  // namespace larkmoor::models
