// What the person asked for.
#pragma once

#include <boost/describe.hpp>

#include <expected>
#include <string>
#include <vector>

namespace larkmoor::connect {

BOOST_DEFINE_ENUM_CLASS(Verb, scan, install, remove, projects, memory, stale, converge, retire)

struct CommandLine {
    Verb verb = Verb::scan;
    std::vector<std::string> harnesses{};  ///< their identifiers; none means all
    std::string home{}, bundle{};          ///< absolute
    std::string applications = "/Applications";
    bool json = false;
};

/// How the tool is called, without a final line feed.
std::string usage();

/// `words` are those behind the program's name. The error is for a person.
std::expected<CommandLine, std::string> commandLine(const std::vector<std::string>& words);

}  // namespace larkmoor::connect
