// What is to be done about a login item, and what the daemon's agent is called.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>

#include "LarkmoorPlatform/LoginItemService.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

/// `register` is a word of the language: the case is called by what it does.
enum class LoginItemAction { registerItem, leaveEnabled, needsApproval };

namespace LoginItems {

inline constexpr std::string_view daemonAgentLabel = ClientInstance::gatewayID;
inline constexpr std::string_view daemonAgentPlistName = "tools.fenwright.larkmoor.gateway.plist";
static_assert(daemonAgentPlistName.starts_with(daemonAgentLabel));

/// "{home}/Library/LaunchAgents/{list}": where a developer's install script leaves an agent of its own.
std::string looseAgentPlistPath(std::string_view home);
/// "{bundle}/Contents/Library/LaunchAgents/{list}"
std::string inBundlePlistPath(std::string_view bundle);
/// "gui/{uid}"
std::string guiDomainTarget(uid_t uid);
/// "gui/{uid}/{label}"
std::string guiServiceTarget(uid_t uid);

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

// `name` is for the log, `service` outlives the tasks.

/// Registers the item unless it is, or the person said no.
Task<void> registerItem(std::string name, LoginItemService& service, Log log);
/// Registers it whatever its status; whether that worked.
Task<bool> tryRegister(std::string name, LoginItemService& service, Log log);
void sayNeedsApproval(std::string_view name, const Log& log);

}  // namespace LoginItems

}  // namespace larkmoor
