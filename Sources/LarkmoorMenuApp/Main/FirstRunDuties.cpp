// What the first run does for the menu.
#include "LarkmoorKit/FirstRun/FirstRunWarm.h"
#include "LarkmoorKit/Trace/SetupLog.h"
#include "LarkmoorMenuApp/JourneyQuestion.h"
#include "LarkmoorMenuApp/Main/Application.h"

namespace larkmoor {

MenuDuties::FirstRun Application::firstRunDuties() {
    return {
        .warmBundledBinaries = [this] { return warmBundledBinaries(); },
        .journeyWarranted = [this] { return journeyWarranted(client_, support_); },
        .journeyWarrantedUnasked = [this] { return journeyWarrantedUnasked(support_); },
    };
}

Task<void> Application::warmBundledBinaries() {
    static_cast<void>(co_await FirstRunWarm::run(bundle_.beside("larkmoor-hook"), bundle_.build.value_or("?"),
                                                 FirstRunWarm::path(support_), FirstRunWarm::productionLeash, home_,
                                                 {.runner = runner_, .setupLog = SetupLog::line}));
}

}  // namespace larkmoor
