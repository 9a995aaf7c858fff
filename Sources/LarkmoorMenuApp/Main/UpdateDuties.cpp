// What the update host does for the menu.
#include <sys/utsname.h>
#include <unistd.h>

#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorMenuApp/Update/Appcast/AppcastUpdater.h"
#include "LarkmoorMenuApp/Update/StandardUserDriver.h"
#include "LarkmoorPlatform/Linux/System/TimerDescriptorSource.h"
#include "LarkmoorPlatform/PlatformLog.h"
#include "LarkmoorPlatform/Spawn.h"

namespace larkmoor {

namespace {

/// By which a feed tells what an update needs: the kernel's release, since distributions count each in its own way.
std::string systemVersion() {
    utsname names{};
    return ::uname(&names) == 0 ? names.release : "";
}

}  // namespace

std::unique_ptr<Updater> Application::makeUpdater(UserDriver& driver, UpdaterDelegate& delegate) {
    return std::make_unique<AppcastUpdater>(
        AppcastServices{.loop = loop_,
                        .fetch = fetch_,
                        .signatures = signatures_,
                        .runner = runner_,
                        .defaults = defaults_,
                        .installer = installer_,
                        .feedURL = bundle_.feedURL.value_or(""),
                        .publicKey = bundle_.publicKey.value_or(""),
                        .identifier = std::string{ClientInstance::menubarID},
                        .ours = {.build = installer_.build(),
                                 .systemVersion = systemVersion(),
                                 .languages = preferredLanguages(environmentVariable)},
                        .now = [] { return std::chrono::system_clock::now(); },
                        .log = menuLog},
        driver, delegate);
}

bool Application::consentsToUpdates() const { return UpdateDefaults::consent(defaults_); }

Task<void> Application::tell(std::string sentence) {
    const Alert alert{.style = Alert::Style::informational, .message = std::move(sentence), .buttons = {"OK"}};
    static_cast<void>(co_await alerts_.show(alert, {}));
}

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
        .makeUpdater = [this](UserDriver& driver, UpdaterDelegate& delegate) { return makeUpdater(driver, delegate); },
        .migrateInstalled = [this](std::string migrated) { return migrateInstalled(std::move(migrated)); },
        .recoverKilled = [this](std::string ofBuild) { return recoverKilled(std::move(ofBuild)); },
        .migrationEnds = [this] { return migrationEnds(); },
        .ledger = {.postponed = [this](std::string version) { return isPostponed(std::move(version)); },
                   .settle = [this](MigrationVerdict verdict,
                                    std::string migrated) { return settle(std::move(verdict), std::move(migrated)); },
                   .sentence = [this] { return ledger_->sentence(); }},
        .tell =
            [this](const std::string& sentence) {
                spawn(loop_, std::weak_ptr{menuBar_}, [this, sentence](MenuBar&) { return tell(sentence); });
            },
        .waiting = waiting,
    });
    MenuDuties::Updates duties = updates_->duties();
    duties.migrateAtLaunch = [this, migrate = duties.migrateAtLaunch] { return migrateAtLaunch(migrate); };
    upgrade_ = std::make_shared<UpgradeNotice>(
        UpgradeNotice::Seams{.loop = loop_,
                             .places = installer_.places(),
                             .executable = bundle_.executable,
                             .image = "/proc/self/exe",
                             .running = {.version = bundle_.version, .build = bundle_.build},
                             .meeting = std::make_shared<LiveMeetingReporter>(client_),
                             .runner = runner_,
                             .news = news_,
                             .every = RepeatingTimer::on(loop_),
                             .relaunch = [this] { relaunch(); },
                             .log = menuLog,
                             .waiting = waiting});
    return upgrade_->before(std::move(duties));
}

}  // namespace larkmoor
