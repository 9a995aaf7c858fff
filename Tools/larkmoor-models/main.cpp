// larkmoor-models: what the application knows and does of local models, one verb at a time.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>

#include "Command.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/HTTPClient.h"

namespace larkmoor::models {

namespace {

constexpr std::array commands{
    Command{"cancel", "", 0, cancel},
    Command{"delete", "NAME ROOT", 2, deleteModel},
    Command{"digest", "FILE", 1, digest},
    Command{"line", "FILE", 1, line},
    Command{"move", "NAME FROM_ROOT TO_STORE", 3, move},
    Command{"pass", "", 0, pass},
    Command{"ping", "NAME", 1, ping},
    Command{"pull", "", 0, pull},
    Command{"tags", "", 0, tags},
    Command{"undo", "--plan FILE", 0, undo},
};

struct Option {
    std::string_view name;
    std::string Arguments::* value;
};

constexpr std::array options{
    Option{"--authorities", &Arguments::authorities},
    Option{"--bundle", &Arguments::bundle},
    Option{"--host", &Arguments::host},
    Option{"--plan", &Arguments::plan},
    Option{"--runtime-executable", &Arguments::runtimeExecutable},
    Option{"--runtime-sha256", &Arguments::runtimeSHA256},
    Option{"--runtime-url", &Arguments::runtimeURL},
};

std::string usage() {
    std::string text = "usage: larkmoor-models VERB [ARGUMENT...] [--json], VERB one of:";
    for (const Command& command : commands) text += fmt::format("\n  {} {}", command.name, command.words);
    return text +
           "\npass, ping, pull and tags take --host HOST:PORT for a model host in another place than 127.0.0.1:11434;"
           "\npass and pull --verbose show on standard error what the application writes to its setup log."
           "\npass and cancel work on the home folder, or on --home DIR, which the user manager must have too. pass"
           "\ntakes --bundle LARKMOOR.APP, --authorities FILE, and --runtime-url, --runtime-sha256 and"
           "\n--runtime-executable in place of the release that the build was configured for.";
}

Outcome wrongUsage(const std::string& message) {
    return {.status = Outcome::wrongUsage, .errors = message + "\n" + usage()};
}

bool isHost(const std::string& text) {
    return text.find_first_of("/?#") == text.npos && HTTPAddress::parse("http://" + text).has_value();
}

Outcome run(const std::vector<std::string>& words) {
    if (words == std::vector<std::string>{"--help"}) return {.output = usage() + "\n"};
    Arguments arguments;
    for (std::size_t at = 0; at < words.size(); ++at) {
        const std::string& word = words[at];
        if (word == "--json") {
            arguments.json = true;
        } else if (word == "--verbose") {
            arguments.verbose = true;
        } else if (word == "--home" && at + 1 < words.size()) {
            // Before anything asks for it: logs and units follow the variable too.
            ::setenv("HOME", words[++at].c_str(), 1);
        } else if (const auto option = std::ranges::find(options, word, &Option::name);
                   option != options.end() && at + 1 < words.size()) {
            arguments.*option->value = words[++at];
            if (word == "--host" && !isHost(arguments.host)) {
                return wrongUsage("--host wants HOST:PORT, not " + arguments.host);
            }
        } else if (word.starts_with("--")) {
            return wrongUsage("there is no option " + word);
        } else {
            arguments.words.push_back(word);
        }
    }
    if (arguments.words.empty()) return wrongUsage("there is no verb");
    const std::string verb = arguments.words.front();
    arguments.words.erase(arguments.words.begin());
    const auto command = std::ranges::find(commands, verb, &Command::name);
    if (command == commands.end()) return wrongUsage("there is no verb " + verb);
    if (arguments.words.size() != command->count) {
        return wrongUsage(fmt::format("{} wants {}", verb, command->count == 0 ? "no argument" : command->words));
    }
    return command->run(arguments);
}

}  // namespace

}  // namespace larkmoor::models

int main(int count, char** arguments) {
    using namespace larkmoor;
    // A reader of our output that is gone ends no download: writing to it fails, which is told at the end.
    std::signal(SIGPIPE, SIG_IGN);
    const models::Outcome outcome = models::run({arguments + 1, arguments + count});
    const auto printed = Files::writeAll(STDOUT_FILENO, asBytes(outcome.output), "standard output");
    std::string errors = printed ? outcome.errors : printed.error().description();
    if (!errors.empty()) errors += "\n";
    // If standard error cannot be written either, the exit status still tells.
    (void)Files::writeAll(STDERR_FILENO, asBytes(errors), "standard error");
    return printed ? outcome.status : models::Outcome::failed;
}
