// The command line of larkmoor-connect.
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

/// The usage text, without a final line feed.
std::string usage();

/// `arguments` are those after the program's name. The error is a message, with the usage.
std::expected<CommandLine, std::string> commandLine(const std::vector<std::string>& arguments);

}  // namespace larkmoor::connect
