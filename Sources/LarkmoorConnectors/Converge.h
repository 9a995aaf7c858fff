// Brings our own wiring up to date at launch, quietly: only what is demonstrably ours and stale, and what is retired.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Framework/Connector.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"

namespace larkmoor::Converge {

struct Step {
    std::string name;
    ConnectorOutcome outcome;

    bool operator==(const Step&) const = default;
};

/// The verbs run one after the other and block as long as the disk does; `isClaudeRunning` is asked once, on the same
/// thread. A harness that was left alone has no step.
std::vector<Step> run(const std::string& home, const std::string& bundle, const std::string& applications,
                      Connectors::Profile profile, const std::function<bool()>& isClaudeRunning);

/// The retirements alone; while Claude runs they are put off, and said to be.
std::vector<Step> retire(const std::string& home, const std::string& bundle, Connectors::Profile profile,
                         const std::function<bool()>& isClaudeRunning);

}  // namespace larkmoor::Converge
