// What the local models do for the menu.
#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorMenuApp/Main/NotBuiltYet.h"

namespace larkmoor {

MenuDuties::Models Application::modelDuties() {
    return {
        .startIfNeeded = notBuiltYet,
        .attachProgress = notBuiltYet,
        .line = notBuiltYet,
        .allDownloadsDone = notBuiltYet,
        .cancelNotification = std::string{ClientInstance::bundlePrefix} + ".cancel-local-models",
        .cancel = notBuiltYet,
    };
}

}  // namespace larkmoor
