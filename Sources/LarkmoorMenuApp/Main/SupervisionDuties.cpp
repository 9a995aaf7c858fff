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
                if (isQuitting()) return nothing();
                return isStoreLatched() ? clear(quitSentinel_)
                                        : startDaemon(daemonAgent_.clearQuitAndHealLooseAgent(quitSentinel_));
            },
        .releaseQuitIfHeld =
            [this] { return isDaemonHeld() ? nothing() : startDaemon(daemonAgent_.releaseQuitIfHeld(quitSentinel_)); },
    };
}

bool Application::isQuitting() const { return menuBar_ && menuBar_->isQuitting(); }

bool Application::isDaemonHeld() const { return storeWork_ || isStoreLatched() || isQuitting(); }

Task<void> Application::startDaemon(Task<void> release) {
    co_await std::move(release);
    if (!isDaemonHeld() && !quitSentinel_.isSet()) co_await daemonAgent_.start();
}

/// A quit that is clicked meanwhile is not taken back.
Task<void> Application::registerAndStartDaemon() {
    if (!isDaemonHeld()) co_await daemonAgent_.registerInBundleAgent();
    if (!isDaemonHeld()) co_await startDaemon(daemonAgent_.clearQuitAndHealLooseAgent(quitSentinel_));
}

/// A store under a latch may be half-written: the daemon is not started over it before the migration has judged it.
bool Application::isStoreLatched() const { return StoreRecovery::isLatched(store()); }

/// The same for a start that is not ours, as at a login.
AgentGuard Application::daemonGuard() const {
    return {.label = std::string{ClientInstance::gatewayID},
            .paths = {StoreRecovery::latchPath(store()), StoreRecovery::markPath(store())}};
}

Task<void> Application::registerLoginItems() {
    co_await LoginItems::registerItem("login item", loginItem_, platformLog);
    if (!isStoreLatched()) co_await daemonAgent_.registerInBundleAgent();
}

}  // namespace larkmoor
