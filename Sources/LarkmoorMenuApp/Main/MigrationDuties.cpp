// The migration of the store, run with the real Migrator, daemon and files.
#include <fmt/chrono.h>
#include <unistd.h>

#include <ctime>

#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorMenuApp/Update/LiveMigrationDance.h"
#include "LarkmoorMenuApp/Update/StoreRecovery.h"
#include "LarkmoorPlatform/Linux/Messaging/MessageServiceDial.h"
#include "LarkmoorPlatform/PlatformLog.h"
#include "LarkmoorUpdate/Dance/MigrationDance.h"

namespace larkmoor {

namespace {

std::string iso8601(std::time_t time) { return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(time)); }

}  // namespace

std::string Application::store() const {
    return fmt::format("{}/{}", ClientInstance::supportRoot(support_), ClientInstance::databaseName);
}

Task<MigrationRun> Application::migrateInstalled(std::string build) {
    LiveMigrationDance live{
        std::make_shared<LiveMeetingReporter>(client_),
        {.loop = loop_,
         .runner = runner_,
         .launchctl = launchAgents_,
         .agent = daemonAgent_,
         .signatures = signatures_,
         .dial = sessionBusDial(loop_),
         .bundle = bundle_.folder,
         .user = ::getuid(),
         .serves = [this, build](std::chrono::milliseconds within) { return updates_->daemonAnswers(build, within); },
         .willStopDaemon =
             [this] {
                 if (!storeWork_) storeWork_ = std::make_shared<OneShotEvent>(loop_);
             },
         .say = [this](std::string_view line) { updates_->relay().say(line); },
         .systemLog = [this](std::string_view line) { updates_->relay().sayHere(line); }}};
    MigrationDance dance{{.running = live,
                          .store = store(),
                          .backupDir = ClientInstance::supportRoot(support_),
                          .logPath = StoreRecovery::applyLog(store(), std::time(nullptr)),
                          .now = [] { return iso8601(std::time(nullptr)); }}};
    MigrationRun run;
    std::exception_ptr thrown;
    try {
        run = co_await dance.migrateInstalled(std::move(build));
        run.planMs = live.lastPlanMs();
    } catch (...) {
        thrown = std::current_exception();
    }
    storeRests();
    if (thrown) std::rethrow_exception(thrown);
    co_return run;
}

/// However the run ends, the store rests afterwards, and an end that waited for that goes on.
Task<void> Application::untilStoreRests() {
    if (const auto work = storeWork_) co_await work->wait();
}

void Application::storeRests() {
    if (const auto work = std::exchange(storeWork_, nullptr)) work->set();
    if (endsWhenStoreRests_) end(status_);
}

}  // namespace larkmoor
