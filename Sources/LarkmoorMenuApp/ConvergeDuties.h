// The connectors' duties for the menu: our wiring in the harnesses' files is brought up to date at launch. The user
// sees nothing of it; the log gets a line for each outcome but "unchanged".
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorConnectors/Converge.h"
#include "LarkmoorMenuApp/MenuDuties.h"
#include "LarkmoorPlatform/RunningApplications.h"

namespace larkmoor::ConvergeDuties {

struct Seams {
    std::string home;
    std::optional<std::string> bundle;  ///< without one nothing is done
    std::string applications = "/Applications";
    /// Called off the main thread. Owns what it needs: work under way may outlive the application.
    std::function<std::vector<RunningApplication>()> runningApplications;
    std::function<void(std::string_view)> log;
};

MenuDuties::Connectors make(const Seams& seams);

/// At launch.
Task<void> convergeOwnWiring(Seams seams);

/// After Claude has ended: what had to wait while it ran.
Task<void> retireWhenClaudeQuits(Seams seams);

/// The line for the log; nothing if the outcome is "unchanged".
std::optional<std::string> line(const Converge::Step& step);

}  // namespace larkmoor::ConvergeDuties
