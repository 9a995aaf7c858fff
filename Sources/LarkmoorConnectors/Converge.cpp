#include "LarkmoorConnectors/Converge.h"

#include "LarkmoorConnectors/Connectors.h"

namespace larkmoor::Converge {

std::vector<Step> run(const std::string& home, const std::string& bundle, const std::string& applications,
                      Connectors::Profile profile, const std::function<bool()>& isClaudeRunning) {
    std::vector<Step> steps;
    for (const auto& connector : Connectors::all(home, bundle, applications)) {
        if (connector->staleOwnWiring()) steps.push_back({connector->identity().name, connector->install()});
    }
    for (Step& step : retire(home, bundle, profile, isClaudeRunning)) steps.push_back(std::move(step));
    return steps;
}

std::vector<Step> retire(const std::string& home, const std::string& bundle, Connectors::Profile profile,
                         const std::function<bool()>& isClaudeRunning) {
    const bool isRunning = isClaudeRunning();
    std::vector<Step> steps;
    for (const ClaudeChatRetirement& retirement : Connectors::retirements(home, bundle, profile)) {
        steps.push_back({std::string{ClaudeChatRetirement::name},
                         isRunning ? ConnectorOutcome::unchanged(
                                         {{retirement.paths.configFile,
                                           "Claude is running, so this file was left as it is until Claude quits"}})
                                   : retirement.retire()});
    }
    return steps;
}

}  // namespace larkmoor::Converge
