// An agent whose property list lies in the bundle, as an enabled unit of the user manager.
#pragma once

#include "LarkmoorPlatform/Linux/Services/AgentUnits.h"
#include "LarkmoorPlatform/LoginItemService.h"

namespace larkmoor {

/// What is known of the unit, and whether its list is in the bundle, in the service's words. A unit that was made from
/// another list, such as one of a bundle that has moved, is not this item's.
LoginItemStatus agentItemStatus(const AgentUnits::Standing& standing, const std::string& listPath, bool listExists);

/// `units` outlives the tasks. The unit is called after the list's file.
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

}  // namespace larkmoor
