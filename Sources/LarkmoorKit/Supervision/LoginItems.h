// Login items and the daemon's launch agent: their names, and the decisions about each at launch.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorPlatform/LoginItemService.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

/// `register` is a keyword of C++, hence `registerItem`.
enum class LoginItemAction { registerItem, leaveEnabled, needsApproval };

namespace LoginItems {

inline constexpr std::string_view daemonAgentLabel = ClientInstance::gatewayID;
inline constexpr std::string_view daemonAgentPlistName = "tools.fenwright.larkmoor.gateway.plist";
static_assert(daemonAgentPlistName.starts_with(daemonAgentLabel));

/// "{home}/Library/LaunchAgents/{plist}": the loose agent, as a developer's install script installs it.
std::string looseAgentPlistPath(std::string_view home);
/// "{bundle}/Contents/Library/LaunchAgents/{plist}"
std::string inBundlePlistPath(std::string_view bundle);
/// "gui/{uid}"
std::string guiDomainTarget(uid_t uid);
/// "gui/{uid}/{label}"
std::string guiServiceTarget(uid_t uid, std::string_view label = daemonAgentLabel);

constexpr LoginItemAction action(LoginItemStatus status) {
    switch (status) {
        case LoginItemStatus::enabled:
            return LoginItemAction::leaveEnabled;
        case LoginItemStatus::requiresApproval:
            return LoginItemAction::needsApproval;
        case LoginItemStatus::notRegistered:
        case LoginItemStatus::notFound:
            break;
    }
    return LoginItemAction::registerItem;
}

using Log = std::function<void(std::string_view)>;

// `name` is for the log. `service` must outlive the tasks.

/// Registers the item unless it is registered already, or the user switched it off.
Task<void> registerItem(std::string name, LoginItemService& service, Log log);
/// Registers it whatever its status; false if that failed.
Task<bool> tryRegister(std::string name, LoginItemService& service, Log log);
void sayNeedsApproval(std::string_view name, const Log& log);

}  // namespace LoginItems

/// What to do about the agent in the bundle. That depends on whether it is registered with exactly the property list
/// that is on disk now.
enum class AgentDefinitionAction { registerItem, reregister, leaveEnabled, needsApproval };

namespace AgentDefinition {

/// `stored` is the digest of the property list that was last registered with success, `current` that of the one on
/// disk.
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

/// The loose agent: its property list is in the user's own LaunchAgents folder, not in the bundle.
namespace AgentRegistration {

enum class Action { bootstrap, kickstart, doNothing };

constexpr Action action(bool plistExists, bool registered) {
    if (!plistExists) return Action::doNothing;
    return registered ? Action::kickstart : Action::bootstrap;
}

}  // namespace AgentRegistration

}  // namespace larkmoor
