// What the daemon's supervision does for the menu.
#include <fmt/format.h>

#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorMenuApp/Update/StoreRecovery.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

Task<void> nothing() { co_return; }

/// A store under a latch may be half-written: the daemon is not started over it before the migration has judged it.
bool isLatched(const std::string& support) {
    return StoreRecovery::isLatched(
        fmt::format("{}/{}", ClientInstance::supportRoot(support), ClientInstance::databaseName));
}

}  // namespace

MenuDuties::Supervision Application::supervisionDuties() {
    return {
        .registerLoginItems = [this] { return registerLoginItems(); },
        .clearQuitAndHealLooseAgent =
            [this] { return isLatched(support_) ? nothing() : daemonAgent_.clearQuitAndHealLooseAgent(quitSentinel_); },
        .releaseQuitIfHeld =
            [this] { return isLatched(support_) ? nothing() : daemonAgent_.releaseQuitIfHeld(quitSentinel_); },
    };
}

Task<void> Application::registerLoginItems() {
    co_await LoginItems::registerItem("login item", loginItem_, platformLog);
    if (!isLatched(support_)) co_await daemonAgent_.registerInBundleAgent();
}

}  // namespace larkmoor
