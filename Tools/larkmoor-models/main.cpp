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
    Command{"delete", "NAME ROOT", 2, deleteModel},
    Command{"digest", "FILE", 1, digest},
    Command{"line", "FILE", 1, line},
    Command{"move", "NAME FROM_ROOT TO_STORE", 3, move},
    Command{"ping", "NAME", 1, ping},
    Command{"pull", "", 0, pull},
    Command{"tags", "", 0, tags},
};

std::string usage() {
    std::string text = "usage: larkmoor-models VERB [ARGUMENT...] [--json], VERB one of:";
    for (const Command& command : commands) text += fmt::format("\n  {} {}", command.name, command.words);
    return text +
           "\nping, pull and tags take --host HOST:PORT for a model host in another place than 127.0.0.1:11434;"
           "\npull --verbose shows on standard error what the application writes to its setup log.";
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
        } else if (word == "--host" && at + 1 < words.size()) {
            arguments.host = words[++at];
            if (!isHost(arguments.host)) return wrongUsage("--host wants HOST:PORT, not " + arguments.host);
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
