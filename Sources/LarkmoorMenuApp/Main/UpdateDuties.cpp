// What the update host does for the menu.
#include <unistd.h>

#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorMenuApp/Update/StandardUserDriver.h"
#include "LarkmoorPlatform/Linux/System/TimerDescriptorSource.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

// A family without a Migrator: nothing is ever pending or postponed.

Task<MigrationRun> nothingPending(std::string) {
    co_return MigrationRun{.verdict = MigrationVerdict::Green{}, .serving = true};
}
Task<bool> neverPostponed(std::string) { co_return false; }
Task<MarkerWrite> notEarned(MigrationVerdict, std::string) { co_return MarkerWrite::NotEarned{}; }

}  // namespace

MenuDuties::Updates Application::updateDuties() {
    const auto waiting = std::make_shared<DoorSleepWait>();
    const auto openPage = [this](const std::string& address) { launcher_.open("/usr/bin/xdg-open", {address}); };
    updates_ = std::make_unique<UpdateHost>(UpdateHost::Seams{
        .loop = loop_,
        .client = client_,
        .launchctl = launchAgents_,
        .defaults = defaults_,
        .user = ::getuid(),
        .bundle = {.version = bundle_.version,
                   .build = bundle_.build,
                   .feedURL = bundle_.feedURL,
                   .publicKey = bundle_.publicKey},
        .log = platformLog,
        .every = RepeatingTimer::on(loop_),
        .makeClockSource = [this] { return std::make_unique<TimerDescriptorSource>(loop_); },
        .makeStandardDriver =
            [this, waiting, openPage] {
                return std::make_unique<StandardUserDriver>(
                    StandardUserDriver::Seams{.loop = loop_,
                                              .alerts = alerts_,
                                              .waiting = waiting,
                                              .openPage = openPage,
                                              .displayVersion = bundle_.version.value_or("")});
            },
        .makeUpdater = [](UserDriver&, UpdaterDelegate&) { return std::unique_ptr<Updater>{}; },
        .migrateInstalled = nothingPending,
        .ledger = {.postponed = neverPostponed,
                   .settle = notEarned,
                   .sentence = [] { return std::optional<std::string>{}; }},
        .waiting = waiting,
    });
    return updates_->duties();
}

}  // namespace larkmoor
