// Launch agents on systemd: the bundled agent as a login item, and launchctl's verbs.
#pragma once

#include "LarkmoorPlatform/LaunchAgents.h"
#include "LarkmoorPlatform/Linux/Services/AgentUnits.h"
#include "LarkmoorPlatform/LoginItemService.h"

namespace larkmoor {

/// The login item's status, from the state of its unit and from whether its property list exists in the bundle. A unit
/// that was made from another list, as by a bundle that was moved, is not this item's.
LoginItemStatus agentItemStatus(const AgentUnits::State& state, const std::string& listPath, bool listExists);

/// An agent whose property list is in the bundle, as an enabled unit of the same name. `units` must outlive the tasks.
class SystemdAgentItem final : public LoginItemService {
  public:
    SystemdAgentItem(AgentUnits& units, std::string listPath) : units_(units), listPath_(std::move(listPath)) {}

    Task<LoginItemStatus> status() override;
    Task<std::expected<void, std::string>> registerItem() override;
    Task<std::expected<void, std::string>> unregisterItem() override;

  private:
    std::string unit() const;

    AgentUnits& units_;
    std::string listPath_;
};

/// `manager` and `units` must outlive the tasks. Lists that cannot be loaded and jobs that fail are explained in the
/// system's log.
class SystemdLaunchAgents final : public LaunchAgents {
  public:
    SystemdLaunchAgents(UserManager& manager, AgentUnits& units) : manager_(manager), units_(units) {}

    Task<ExitStatus> print(std::string serviceTarget) override;
    Task<std::optional<std::int32_t>> pid(std::string serviceTarget) override;
    Task<bool> isCurrent(std::string listPath) override;
    Task<ExitStatus> bootstrap(std::string domainTarget, std::string listPath) override;
    Task<ExitStatus> kickstart(std::string serviceTarget, bool kill) override;
    Task<ExitStatus> bootout(std::string serviceTarget, bool usersToo) override;

  private:
    UserManager& manager_;
    AgentUnits& units_;
};

}  // namespace larkmoor
