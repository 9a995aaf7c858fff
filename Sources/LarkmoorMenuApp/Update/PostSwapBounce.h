// At launch: the daemon is restarted if it still runs an older build, so that after an update the family runs one
// version.
#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>

#include "LarkmoorMenuApp/Update/BoundedDoorCall.h"
#include "LarkmoorMenuApp/Update/UpdateLogRelay.h"
#include "LarkmoorPlatform/LaunchAgents.h"

namespace larkmoor {

/// The build that the daemon says it is; nothing if it does not answer within the bound on one question.
Task<std::optional<std::string>> askDaemonBuild(std::shared_ptr<LarkmoorClient> client,
                                                std::shared_ptr<DoorWaiting> waiting);

namespace PostSwapBounce {

/// The references outlive the task.
struct Seams {
    std::string ownBuild;
    uid_t user;
    LaunchAgents& launchctl;
    const UpdateLogRelay& relay;
    std::shared_ptr<DoorWaiting> waiting;
};

Task<void> run(std::shared_ptr<LarkmoorClient> client, Seams seams);

}  // namespace PostSwapBounce

}  // namespace larkmoor
