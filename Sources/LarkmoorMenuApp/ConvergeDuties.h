// The launch's own upkeep of the harnesses' files, as duties of the menu. Nothing of it is shown to the user; the log
// hears of what was not left as it was.
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
    /// Called off the main thread; owns what it needs, since work under way may outlive the application.
    std::function<std::vector<RunningApplication>()> runningApplications;
    std::function<void(std::string_view)> log;
};

/// Gives the menu both duties.
void join(MenuDuties& duties, const Seams& seams);

/// At launch.
Task<void> convergeOwnWiring(Seams seams);

/// After Claude has ended: what was put off while it ran.
Task<void> retireWhenClaudeQuits(Seams seams);

/// The log's line; nothing for what is as it was.
std::optional<std::string> line(const Converge::Step& step);

}  // namespace larkmoor::ConvergeDuties
