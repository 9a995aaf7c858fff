// The parsed command line.
#pragma once

#include <expected>
#include <string>
#include <vector>

#include "Verb.h"

namespace larkmoor::edit {

struct CommandLine {
    const Verb* verb = nullptr;
    std::vector<std::string> arguments;  ///< those of the verb
    std::string file;                    ///< "-" is standard input
    bool comments = false;
    bool inPlace = false;
};

/// How the tool is called, without a final line feed.
std::string usage();

/// `words` are those after the program's name. Options may stand anywhere before "--".
std::expected<CommandLine, Stop> commandLine(std::vector<std::string> words);

}  // namespace larkmoor::edit
