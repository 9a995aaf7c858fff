// What the daemon's supervision does for the menu.
#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorMenuApp/Update/StoreRecovery.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

Task<void> nothing() { co_return; }

/// The launch has released the quit; the migration starts the daemon.
Task<void> clear(QuitSentinel sentinel) {
    sentinel.clear();
    co_return;
}

}  // namespace

MenuDuties::Supervision Application::supervisionDuties() {
    return {
        .registerLoginItems = [this] { return registerLoginItems(); },
        .clearQuitAndHealLooseAgent =
            [this] {
                return isStoreLatched() ? clear(quitSentinel_) : daemonAgent_.clearQuitAndHealLooseAgent(quitSentinel_);
            },
        .releaseQuitIfHeld =
            [this] {
                return storeWork_ || isStoreLatched() ? nothing() : daemonAgent_.releaseQuitIfHeld(quitSentinel_);
            },
    };
}

/// A store under a latch may be half-written: the daemon is not started over it before the migration has judged it.
bool Application::isStoreLatched() const { return StoreRecovery::isLatched(store()); }

/// The same for a start that is not ours, as at a login.
AgentGuard Application::daemonGuard() const {
    return {.label = std::string{ClientInstance::gatewayID}, .path = StoreRecovery::latchPath(store())};
}

Task<void> Application::registerLoginItems() {
    co_await LoginItems::registerItem("login item", loginItem_, platformLog);
    if (!isStoreLatched()) co_await daemonAgent_.registerInBundleAgent();
}

}  // namespace larkmoor
