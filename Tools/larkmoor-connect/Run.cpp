#include "Run.h"

#include <algorithm>

#include "CommandLine.h"
#include "Entry.h"
#include "LarkmoorConnectors/Connectors.h"
#include "LarkmoorConnectors/Converge.h"
#include "LarkmoorPlatform/Linux/Applications/ProcessScan.h"

namespace larkmoor::connect {

namespace {

using ConnectorList = std::vector<std::unique_ptr<Connector>>;

bool isClaudeRunning() { return ClaudeChatRetirement::isClaudeAmong(ProcessScan{}.scan()); }

Entry runVerb(const Connector& connector, Verb verb) {
    const std::string id = connector.identity().id;
    switch (verb) {
        case Verb::install:
            return Entry::of(id, connector.install());
        case Verb::remove:
            return Entry::of(id, connector.remove());
        case Verb::projects:
            return Entry::of(id, connector.projects());
        case Verb::memory:
            return Entry::of(id, connector.memoryFiles());
        case Verb::stale:
            return Entry::staleness(id, connector.staleOwnWiring());
        case Verb::scan:
        case Verb::converge:
        case Verb::retire:
            break;
    }
    return Entry::of(connector.scan());
}

std::vector<Entry> runConverge(const CommandLine& line, const ConnectorList& connectors) {
    constexpr auto profile = Connectors::Profile::production;
    const auto steps = line.verb == Verb::retire
                           ? Converge::retire(line.home, line.bundle, profile, isClaudeRunning)
                           : Converge::run(line.home, line.bundle, line.applications, profile, isClaudeRunning);
    std::vector<Entry> entries;
    for (const Converge::Step& step : steps) {
        const auto connector =
            std::ranges::find(connectors, step.name, [](const auto& each) { return each->identity().name; });
        entries.push_back(
            Entry::of(connector == connectors.end() ? "claude-chat" : (*connector)->identity().id, step.outcome));
    }
    return entries;
}

}  // namespace

Outcome run(const std::vector<std::string>& arguments) {
    if (arguments == std::vector<std::string>{"--help"}) return {.output = usage() + "\n"};
    const auto line = commandLine(arguments);
    if (!line) return {.status = Outcome::wrongUsage, .errors = line.error()};
    ConnectorList connectors = Connectors::all(line->home, line->bundle, line->applications);
    const auto isNamed = [&](const auto& connector) {
        const auto& named = line->harnesses;
        return named.empty() || std::ranges::find(named, connector->identity().id) != named.end();
    };
    for (const std::string& id : line->harnesses) {
        if (std::ranges::none_of(connectors, [&](const auto& each) { return each->identity().id == id; })) {
            return {.status = Outcome::wrongUsage, .errors = "there is no harness " + id + "\n" + usage()};
        }
    }
    std::vector<Entry> entries;
    if (line->verb == Verb::converge || line->verb == Verb::retire) {
        entries = runConverge(*line, connectors);
    } else {
        for (const auto& connector : connectors) {
            if (isNamed(connector)) entries.push_back(runVerb(*connector, line->verb));
        }
    }
    const bool isRefused = std::ranges::any_of(entries, &Entry::refused);
    return {.status = isRefused ? Outcome::failed : 0, .output = line->json ? json(entries) : plainText(entries)};
}

}  // namespace larkmoor::connect
