// What the daemon's supervision does for the menu.
#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

MenuDuties::Supervision Application::supervisionDuties() {
    return {
        .registerLoginItems = [this] { return registerLoginItems(); },
        .clearQuitAndHealLooseAgent = [this] { return daemonAgent_.clearQuitAndHealLooseAgent(quitSentinel_); },
        .releaseQuitIfHeld = [this] { return daemonAgent_.releaseQuitIfHeld(quitSentinel_); },
    };
}

Task<void> Application::registerLoginItems() {
    co_await LoginItems::registerItem("login item", loginItem_, platformLog);
    co_await daemonAgent_.registerInBundleAgent();
}

}  // namespace larkmoor
