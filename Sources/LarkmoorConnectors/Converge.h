// Updates our own wiring at launch without asking: only what is certainly ours and out of date. Also removes what is
// retired.
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

/// The verbs run one after the other and block as long as the disk does; `isClaudeRunning` is called once, on the same
/// thread. A harness without stale wiring of ours has no step.
std::vector<Step> run(const std::string& home, const std::string& bundle, const std::string& applications,
                      Connectors::Profile profile, const std::function<bool()>& isClaudeRunning);

/// Only the retirements; while Claude runs they are postponed, and the outcome says so.
std::vector<Step> retire(const std::string& home, const std::string& bundle, Connectors::Profile profile,
                         const std::function<bool()>& isClaudeRunning);

}  // namespace larkmoor::Converge
