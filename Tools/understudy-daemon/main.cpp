// larkmoor: a stand-in for the daemon, for tests and development. See --help.
#include <fmt/format.h>

#include <boost/asio/steady_timer.hpp>

#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Commands.h"
#include "DaemonServer.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "ScenarioFile.h"

namespace larkmoor::understudy {

namespace {

struct CommandLine {
    std::string serviceName{ClientInstance::gatewayID};
    std::string supportRoot;
    std::string scenarioPath;
};

void printHelp() {
    fmt::print(R"(usage: larkmoor [--scenario FILE] [--support-root DIR] [--name NAME]

Owns the daemon's name on the session bus and answers what the menu asks: health, frontState, grants, getByType,
daemonBuild, meetingLive, pauseFor, pause, resume, shutdown, logUpdate, storeKeyForMigration, and diagnostics. All else
is unimplemented. It says "serving NAME" on standard output once it does. A pause shows in health and ends by itself.

  --scenario FILE     a JSON object of what to play from the start
  --support-root DIR  a shutdown leaves DIR/quit-requested, and where that stands it goes at once with status 0
  --name NAME         another name on the bus

A scenario may hold: startDelayMilliseconds (before the name is taken), delayMilliseconds (before each reply), health,
front, grants {{kind: state}}, hello, build, meetingLive, wire (-1: none), servedMilliseconds (-1: none), refuse, silent,
silentTo (a request's name), storeKey (text), reply (the payload of every reply, as text).

Orders, interface {} at {}:
)",
               DaemonServer::interface, DaemonServer::objectPath);
    for (const Command& command : allCommands())
        fmt::print(
            "  {:<28} {}\n",
            fmt::format("{}({}){}{}", command.name, command.takes, *command.gives == 0 ? "" : " -> ", command.gives),
            command.help);
    fmt::print("\n  busctl --user call {} {} \\\n      {} SetHealth s \"stopped\"\n", ClientInstance::gatewayID,
               DaemonServer::objectPath, DaemonServer::interface);
}

/// Nothing after an error, which is printed.
std::optional<CommandLine> parse(std::span<char*> arguments) {
    CommandLine line;
    for (std::size_t index = 1; index < arguments.size(); index += 2) {
        const std::string_view option = arguments[index];
        std::string* value = option == "--scenario"       ? &line.scenarioPath
                             : option == "--support-root" ? &line.supportRoot
                             : option == "--name"         ? &line.serviceName
                                                          : nullptr;
        if (value == nullptr || index + 1 == arguments.size()) {
            fmt::print(stderr, "larkmoor: {}: see --help\n", option);
            return std::nullopt;
        }
        *value = arguments[index + 1];
    }
    return line;
}

std::optional<QuitSentinel> sentinelIn(const std::string& supportRoot) {
    if (supportRoot.empty()) return std::nullopt;
    return QuitSentinel{fmt::format("{}/{}", supportRoot, QuitSentinel::fileName)};
}

int serve(const CommandLine& line) {
    const auto sentinel = sentinelIn(line.supportRoot);
    if (sentinel && sentinel->isSet()) return 0;
    const auto scenario = scenarioIn(line.scenarioPath, readScenario);
    if (!scenario) {
        fmt::print(stderr, "larkmoor: {}\n", scenario.error());
        return 2;
    }
    MainLoop loop;
    int status = 0;
    DaemonModel model;
    model.apply(*scenario);
    DaemonServer server{loop, {.serviceName = line.serviceName, .sentinel = sentinel}, std::move(model), [&](int end) {
                            status = end;
                            loop.stop();
                        }};
    boost::asio::steady_timer start{loop, std::chrono::milliseconds{scenario->startDelayMilliseconds.value_or(0)}};
    start.async_wait([&server](boost::system::error_code) { server.open(); });
    loop.run();
    return status;
}

}  // namespace

}  // namespace larkmoor::understudy

int main(int count, char** arguments) {
    using namespace larkmoor::understudy;
    const std::span words{arguments, static_cast<std::size_t>(count)};
    if (words.size() == 2 && std::string_view{words[1]} == "--help") return printHelp(), EXIT_SUCCESS;
    const auto line = parse(words);
    return line ? serve(*line) : 2;
}
