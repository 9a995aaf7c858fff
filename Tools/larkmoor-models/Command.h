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

Outcome digest(const Arguments& arguments);
/// What the menu would show of the progress file; nothing of one that cannot be read.
Outcome line(const Arguments& arguments);

}  // namespace larkmoor::models
