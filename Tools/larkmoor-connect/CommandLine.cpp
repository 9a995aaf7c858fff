#include "CommandLine.h"

#include <fmt/format.h>

#include <filesystem>
#include <map>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "LarkmoorPlatform/Process.h"

namespace larkmoor::connect {

std::string usage() {
    return "usage: larkmoor-connect VERB [HARNESS...] [OPTION...], VERB one of:\n"
           "  scan      tells what is entered in the harnesses' settings files\n"
           "  install   enters Larkmoor in them\n"
           "  remove    takes Larkmoor's entries out of them\n"
           "  projects  lists the projects that a harness knows\n"
           "  memory    lists a harness's own memory files\n"
           "  stale     tells whether Larkmoor's entries are out of date\n"
           "  converge  brings entries that are out of date up to date, as the application does at its launch\n"
           "  retire    takes out what is not entered any more, as converge does too\n"
           "HARNESS is a connector's identifier, such as claude-code; without one it is all of them, as it always\n"
           "is for the last two verbs.\n"
           "\n"
           "  --home DIR          the home whose files are meant, by default your own\n"
           "  --bundle DIR        the Larkmoor.app that they are to name, by default the one around this program\n"
           "  --applications DIR  where the harnesses' applications are, by default /Applications\n"
           "  --json              answers in JSON";
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
    if (line.home.empty()) line.home = homeFolder();
    if (line.bundle.empty()) line.bundle = InstalledBundle::current().value_or("");
    if (line.bundle.empty()) return wrongUsage("--bundle is needed, since this program lies in none");
    const bool isForAll = line.verb == Verb::converge || line.verb == Verb::retire;
    if (isForAll && !line.harnesses.empty()) return wrongUsage(positional.front() + " takes no harness");
    return line;
}

}  // namespace larkmoor::connect
