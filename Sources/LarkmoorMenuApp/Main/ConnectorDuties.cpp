// What the connectors do for the menu.
#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "LarkmoorMenuApp/ConvergeDuties.h"
#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorPlatform/Linux/Applications/ProcessScan.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

MenuDuties::Connectors Application::connectorDuties() {
    return ConvergeDuties::make(
        {.home = home_,
         .bundle = InstalledBundle::current(),
         .runningApplications = [scan = std::make_shared<ProcessScan>()] { return scan->look(); },
         .log = platformLog});
}

}  // namespace larkmoor
