#include "CommandLine.h"

#include <fmt/format.h>

#include <filesystem>
#include <map>

#include "LarkmoorBase/RawText.h"

namespace larkmoor::connect {

std::string usage() {
    return "usage: larkmoor-connect VERB [HARNESS...] --home DIR --bundle DIR [--applications DIR] [--json]\n"
           "VERB is scan, install, remove, projects, memory, stale, converge or retire. HARNESS is a connector's\n"
           "identifier, such as claude-code; without one it is all of them, as it always is for the last two verbs.\n"
           "DIR of --home is the home whose files are meant, of --bundle the Larkmoor.app that they are to name.";
}

namespace {

std::unexpected<std::string> wrongUsage(const std::string& message) {
    return std::unexpected{message + "\n" + usage()};
}

/// Absolute, and without a slash at its end, as the files are to name it.
std::string absolute(const std::string& folder) {
    std::string path = std::filesystem::absolute(folder).lexically_normal().string();
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    return path;
}

}  // namespace

std::expected<CommandLine, std::string> commandLine(const std::vector<std::string>& arguments) {
    CommandLine line;
    std::vector<std::string> positional;
    const std::map<std::string_view, std::string*> folders{
        {"--home", &line.home}, {"--bundle", &line.bundle}, {"--applications", &line.applications}};
    for (auto word = arguments.begin(); word != arguments.end(); ++word) {
        if (const auto folder = folders.find(*word); folder != folders.end()) {
            ++word;
            if (word == arguments.end() || word->empty())
                return wrongUsage(fmt::format("{} wants a folder", folder->first));
            *folder->second = absolute(*word);
        } else if (*word == "--json") {
            line.json = true;
        } else if (word->starts_with("--")) {
            return wrongUsage("there is no option " + *word);
        } else {
            positional.push_back(*word);
        }
    }
    if (positional.empty()) return wrongUsage("there is no verb");
    const auto verb = fromRawText<Verb>(positional.front());
    if (!verb) return wrongUsage("there is no verb " + positional.front());
    line.verb = *verb;
    line.harnesses.assign(positional.begin() + 1, positional.end());
    if (line.home.empty() || line.bundle.empty()) return wrongUsage("--home and --bundle are needed");
    const bool isForAll = line.verb == Verb::converge || line.verb == Verb::retire;
    if (isForAll && !line.harnesses.empty()) return wrongUsage(positional.front() + " takes no harness");
    return line;
}

}  // namespace larkmoor::connect
