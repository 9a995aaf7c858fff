// larkmoor-models: what the application knows and does of local models, one verb at a time.
#include <array>
#include <cstdlib>

#include "Command.h"
#include "LarkmoorPlatform/HTTPClient.h"

namespace larkmoor::models {

namespace {

constexpr auto verbs = std::to_array<Verb<Arguments>>({
    {"cancel", "", 0, cancel},
    {"delete", "NAME ROOT", 2, deleteModel},
    {"digest", "FILE", 1, digest},
    {"line", "FILE", 1, line},
    {"move", "NAME FROM_ROOT TO_STORE", 3, move},
    {"pass", "", 0, pass},
    {"ping", "NAME", 1, ping},
    {"pull", "", 0, pull},
    {"tags", "", 0, tags},
    {"undo", "--plan FILE", 0, undo},
});

constexpr auto options = std::to_array<VerbOption<Arguments>>({
    {"--authorities", &Arguments::authorities},
    {"--bundle", &Arguments::bundle},
    {"--home", &Arguments::home},
    {"--host", &Arguments::host},
    {"--plan", &Arguments::plan},
    {"--runtime-executable", &Arguments::runtimeExecutable},
    {"--runtime-sha256", &Arguments::runtimeSHA256},
    {"--runtime-url", &Arguments::runtimeURL},
});

constexpr auto flags = std::to_array<VerbFlag<Arguments>>({{"--verbose", &Arguments::verbose}});

constexpr std::string_view remarks =
    "\npass, ping, pull and tags take --host HOST:PORT for a model host in another place than 127.0.0.1:11434;"
    "\npass and pull --verbose show on standard error what the application writes to its setup log."
    "\npass and cancel work on the home folder, or on --home DIR, which the user manager must have too. pass"
    "\ntakes --bundle LARKMOOR.APP, --authorities FILE, and --runtime-url, --runtime-sha256 and"
    "\n--runtime-executable in place of the release that the build was configured for.";

bool isHost(const std::string& text) {
    return text.find_first_of("/?#") == text.npos && HTTPAddress::parse("http://" + text).has_value();
}

std::string prepare(const Arguments& arguments) {
    // Before anything asks for it: logs and units follow the variable too.
    if (!arguments.home.empty()) ::setenv("HOME", arguments.home.c_str(), 1);
    if (arguments.host.empty() || isHost(arguments.host)) return "";
    return "--host wants HOST:PORT, not " + arguments.host;
}

}  // namespace

}  // namespace larkmoor::models

int main(int count, char** words) {
    using namespace larkmoor::models;
    constexpr larkmoor::VerbTool<Arguments> tool{.name = "larkmoor-models",
                                                 .verbs = verbs,
                                                 .options = options,
                                                 .flags = flags,
                                                 .remarks = remarks,
                                                 .prepare = prepare};
    return tool.main(count, words);
}
