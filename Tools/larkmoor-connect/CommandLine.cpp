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

std::unexpected<std::string> wrong(const std::string& words) { return std::unexpected{words + "\n" + usage()}; }

/// As the files are to name it: absolute, and without a slash at its end.
std::string absolute(const std::string& folder) {
    std::string path = std::filesystem::absolute(folder).lexically_normal().string();
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    return path;
}

}  // namespace

std::expected<CommandLine, std::string> commandLine(const std::vector<std::string>& words) {
    CommandLine line;
    std::vector<std::string> others;
    const std::map<std::string_view, std::string*> folders{
        {"--home", &line.home}, {"--bundle", &line.bundle}, {"--applications", &line.applications}};
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (const auto folder = folders.find(*word); folder != folders.end()) {
            ++word;
            if (word == words.end() || word->empty()) return wrong(fmt::format("{} wants a folder", folder->first));
            *folder->second = absolute(*word);
        } else if (*word == "--json") {
            line.json = true;
        } else if (word->starts_with("--")) {
            return wrong("there is no option " + *word);
        } else {
            others.push_back(*word);
        }
    }
    if (others.empty()) return wrong("there is no verb");
    const auto verb = fromRawText<Verb>(others.front());
    if (!verb) return wrong("there is no verb " + others.front());
    line.verb = *verb;
    line.harnesses.assign(others.begin() + 1, others.end());
    if (line.home.empty() || line.bundle.empty()) return wrong("--home and --bundle are needed");
    const bool isOfAll = line.verb == Verb::converge || line.verb == Verb::retire;
    if (isOfAll && !line.harnesses.empty()) return wrong(others.front() + " takes no harness");
    return line;
}

}  // namespace larkmoor::connect
