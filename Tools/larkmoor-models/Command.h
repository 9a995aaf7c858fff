// The verbs of larkmoor-models: each is one function from its arguments to what the tool prints and returns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace larkmoor::models {

struct Arguments {
    std::vector<std::string> words;  ///< those of the verb, without options
    bool json = false;
    bool verbose = false;  ///< what would be written to the setup log goes to standard error
    std::string host{};    ///< HOST:PORT; empty for the model host's own
    // Of a pass.
    std::string bundle{};  ///< whose helpers are run; empty for this build's own
    std::string runtimeURL{}, runtimeSHA256{}, runtimeExecutable{};  ///< in place of what the build was configured for
    std::string authorities{};  ///< a file of certificates to trust instead of the system's
    std::string plan{};         ///< a progress file
};

struct Outcome {
    static constexpr int failed = 1;
    static constexpr int wrongUsage = 2;

    int status = 0;        ///< the exit status
    std::string output{};  ///< for standard output
    std::string errors{};  ///< for standard error, without its last line feed
};

struct Command {
    std::string_view name;
    std::string_view words;  ///< as the usage shows them
    std::size_t count;       ///< how many words it wants
    Outcome (*run)(const Arguments& arguments);
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
