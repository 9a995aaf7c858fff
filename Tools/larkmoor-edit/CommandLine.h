// What the person asked for.
#pragma once

#include <expected>
#include <string>
#include <vector>

#include "Stop.h"
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

/// `words` are those behind the program's name. Options stand anywhere, and behind "--" nowhere.
std::expected<CommandLine, Stop> commandLine(std::vector<std::string> words);

}  // namespace larkmoor::edit
