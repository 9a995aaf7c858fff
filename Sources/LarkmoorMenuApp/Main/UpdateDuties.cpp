// What the update host does for the menu.
#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorMenuApp/Main/NotBuiltYet.h"

namespace larkmoor {

namespace {

// The answers of a menu without an update host.

Task<std::optional<std::string>> cannotCheck() {
    co_return "Larkmoor couldn't check for updates. Please download the latest version from "
              "https://larkmoor.fenwright.tools";
}

Task<std::optional<std::string>> cannotMigrate() {
    co_return "Larkmoor couldn't update its data just now. It will try again the next time it opens.";
}

}  // namespace

MenuDuties::Updates Application::updateDuties() {
    return {
        .postSwapBounce = notBuiltYet,
        .migrateAtLaunch = notBuiltYet,
        .buildUpdater = notBuiltYet,
        .armDailyClock = notBuiltYet,
        .line = notBuiltYet,
        .postponedSentence = notBuiltYet,
        .migrationOwed = notBuiltYet,
        .isMigrating = notBuiltYet,
        .checkForUpdate = cannotCheck,
        .installUpdate = cannotCheck,
        .migrate = cannotMigrate,
    };
}

}  // namespace larkmoor
