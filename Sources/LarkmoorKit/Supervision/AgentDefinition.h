// Whether the agent that the service has on record is the one in this bundle, and what to do if it is not.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorPlatform/LoginItemService.h"

namespace larkmoor {

enum class AgentDefinitionAction { registerItem, reregister, leaveEnabled, needsApproval };

namespace AgentDefinition {

/// `stored` is the digest of the list that was last registered with success, `current` that of the list on disk.
constexpr AgentDefinitionAction action(LoginItemStatus status, const std::optional<std::string>& stored,
                                       const std::string& current, bool jobLoaded) {
    switch (status) {
        case LoginItemStatus::notRegistered:
        case LoginItemStatus::notFound:
            return AgentDefinitionAction::registerItem;
        case LoginItemStatus::requiresApproval:
            return AgentDefinitionAction::needsApproval;
        case LoginItemStatus::enabled:
            break;
    }
    return jobLoaded && stored == current ? AgentDefinitionAction::leaveEnabled : AgentDefinitionAction::reregister;
}

}  // namespace AgentDefinition

}  // namespace larkmoor
