// ollama: a stand-in for the model host and its registry, for tests and development. See --help.
#include <fmt/format.h>
#include <unistd.h>

#include <boost/asio/signal_set.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "Help.h"
#include "ScenarioFile.h"
#include "Server.h"

namespace larkmoor::modelhost {

namespace {

struct CommandLine {
    std::string scenarioPath, logPath;
};

std::string environment(const char* name, std::string otherwise) {
    const char* value = std::getenv(name);
    return value == nullptr || *value == '\0' ? std::move(otherwise) : value;
}

int fail(std::string_view words, int status) {
    fmt::print(stderr, "Error: {}\n", words);
    return status;
}

std::optional<CommandLine> parse(std::span<char*> words) {
    CommandLine line{environment("LARKMOOR_OLLAMA_SCENARIO", ""), ""};
    for (std::size_t index = 0; index < words.size(); index += 2) {
        const std::string_view option = words[index];
        std::string* value = option == "--scenario" ? &line.scenarioPath : option == "--log" ? &line.logPath : nullptr;
        if (value == nullptr || index + 1 == words.size()) {
            (void)fail(fmt::format("{}: see --help", option), 0);
            return std::nullopt;
        }
        *value = words[index + 1];
    }
    return line;
}

/// The option's path, or the scenario's, which is relative to the scenario's own folder.
std::string logPathOf(const CommandLine& line, const Scenario& scenario) {
    if (!line.logPath.empty() || !scenario.log) return line.logPath;
    return std::filesystem::path{line.scenarioPath}.parent_path() / *scenario.log;
}

int serve(const CommandLine& line) {
    const auto endpoint = endpointOf(environment("OLLAMA_HOST", "127.0.0.1:11434"));
    if (!endpoint) return fail(endpoint.error(), 1);
    const auto scenario = scenarioIn(line.scenarioPath, readScenario);
    if (!scenario) return fail(scenario.error(), 2);
    Host host{*scenario, environment("OLLAMA_MODELS", environment("HOME", "") + "/.ollama/models"),
              logPathOf(line, *scenario)};
    boost::asio::io_context loop;
    boost::asio::signal_set signals{loop, SIGTERM, SIGINT};
    signals.async_wait([&](boost::system::error_code, int) {
        host.log.note({0, "terminated", 0, {}, {}, {}, {}, {}});
        // Connections have threads of their own, which may wait for their peers.
        ::_exit(EXIT_SUCCESS);
    });
    if (const auto failure = host.install()) return fail(*failure, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds{scenario->startDelayMilliseconds.value_or(0)});
    Server server{host, loop};
    const auto address = server.open(*endpoint);
    if (!address) return fail(address.error(), 1);
    host.log.note({0, "listening", 0, {}, *address, {}, {}, {}});
    fmt::print("listening on {}\n", *address);
    // Nobody may be reading.
    (void)std::fflush(stdout);
    loop.run();
    return EXIT_SUCCESS;
}

}  // namespace

}  // namespace larkmoor::modelhost

int main(int count, char** arguments) {
    using namespace larkmoor::modelhost;
    const auto words = std::span{arguments, static_cast<std::size_t>(count)}.subspan(1);
    const std::string_view verb = words.empty() ? "--help" : words.front();
    if (verb == "--help") return printHelp(), EXIT_SUCCESS;
    if (verb == "--version") return fmt::print("ollama version is {}\n", version), EXIT_SUCCESS;
    if (verb != "serve") return fail(fmt::format("unknown command \"{}\" for \"ollama\": see --help", verb), 2);
    const auto line = parse(words.subspan(1));
    return line ? serve(*line) : 2;
}
