// launchctl's verbs, done by the user manager.
#pragma once

#include "LarkmoorPlatform/LaunchAgents.h"
#include "LarkmoorPlatform/Linux/Services/AgentUnits.h"

namespace larkmoor {

/// What the references name outlives the tasks. A list that cannot be loaded, and a job that fails, have their words in
/// the platform's log.
class SystemdLaunchAgents final : public LaunchAgents {
  public:
    SystemdLaunchAgents(UserManager& manager, AgentUnits& units) : manager_(manager), units_(units) {}

    Task<ExitStatus> print(std::string serviceTarget) override;
    Task<ExitStatus> bootstrap(std::string domainTarget, std::string listPath) override;
    Task<ExitStatus> kickstart(std::string serviceTarget, bool kill) override;
    Task<ExitStatus> bootout(std::string serviceTarget) override;

  private:
    UserManager& manager_;
    AgentUnits& units_;
};

}  // namespace larkmoor
