#include "LarkmoorKit/Supervision/LoginItems.h"

#include <fmt/format.h>

namespace larkmoor::LoginItems {

std::string looseAgentPlistPath(std::string_view home) {
    return fmt::format("{}/Library/LaunchAgents/{}", home, daemonAgentPlistName);
}

std::string inBundlePlistPath(std::string_view bundle) {
    return fmt::format("{}/Contents/Library/LaunchAgents/{}", bundle, daemonAgentPlistName);
}

std::string guiDomainTarget(uid_t uid) { return fmt::format("gui/{}", uid); }

std::string guiServiceTarget(uid_t uid, std::string_view label) {
    return fmt::format("{}/{}", guiDomainTarget(uid), label);
}

void sayNeedsApproval(std::string_view name, const Log& log) {
    log(fmt::format("[larkmoor-menu] {} needs approval in System Settings > Login Items (user disabled it)", name));
}

Task<bool> tryRegister(std::string name, LoginItemService& service, Log log) {
    const auto registered = co_await service.registerItem();
    log(registered ? fmt::format("[larkmoor-menu] registered {} with SMAppService", name)
                   : fmt::format("[larkmoor-menu] {} register() failed: {}", name, registered.error()));
    co_return registered.has_value();
}

Task<void> registerItem(std::string name, LoginItemService& service, Log log) {
    switch (action(co_await service.status())) {
        case LoginItemAction::leaveEnabled:
            co_return;
        case LoginItemAction::needsApproval:
            co_return sayNeedsApproval(name, log);
        case LoginItemAction::registerItem:
            co_await tryRegister(name, service, log);
    }
}

}  // namespace larkmoor::LoginItems
