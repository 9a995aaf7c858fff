// What the daemon's supervision does for the menu.
#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

MenuDuties::Supervision Application::supervisionDuties() {
    return {
        .registerLoginItems = [this] { return registerLoginItems(); },
        .clearQuitAndHealLooseAgent = [this] { return clearQuitAndHealLooseAgent(); },
        .releaseQuitIfHeld = [this] { return daemonAgent_.releaseQuitIfHeld(quitSentinel_); },
    };
}

Task<void> Application::registerLoginItems() {
    co_await LoginItems::registerItem("login item", loginItem_, platformLog);
    co_await daemonAgent_.registerInBundleAgent();
}

/// A start of the application is a gesture of the user too. A request to the daemon's bus name does not start it, so
/// that a daemon that was quit has to be started here.
Task<void> Application::clearQuitAndHealLooseAgent() {
    co_await daemonAgent_.releaseQuitIfHeld(quitSentinel_);
    co_await daemonAgent_.healLooseAgent();
}

}  // namespace larkmoor
