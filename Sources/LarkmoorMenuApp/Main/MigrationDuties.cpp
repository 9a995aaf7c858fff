// The migration of the store, run with the real Migrator, daemon and files.
#include <unistd.h>

#include <boost/asio/post.hpp>

#include <ctime>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorMenuApp/Update/LiveMigrationDance.h"
#include "LarkmoorMenuApp/Update/StoreRecovery.h"
#include "LarkmoorPlatform/Linux/Messaging/MessageServiceDial.h"
#include "LarkmoorPlatform/Spawn.h"
#include "LarkmoorUpdate/Dance/MigrationDance.h"

namespace larkmoor {

namespace {

/// On a second bus of the same user, as over the network.
constexpr std::string_view lockedByAnother = "another Larkmoor is at work on this store; nothing was touched";

Task<void> removeMootMark(std::string store) {
    return BlockingWork::run([store = std::move(store)] { StoreRecovery::removeMootMark(store); });
}

Task<void> startAgain(LiveMigrationDance& live) { static_cast<void>(co_await live.startDaemon()); }

}  // namespace

std::string Application::store() const {
    return fmt::format("{}/{}", ClientInstance::supportRoot(support_), ClientInstance::databaseName);
}

LiveMigrationDance::Seams Application::migrationSeams(std::string build) {
    return {.loop = loop_,
            .runner = runner_,
            .launchctl = launchAgents_,
            .agent = daemonAgent_,
            .signatures = signatures_,
            .dial = sessionBusDial(loop_),
            .bundle = bundle_.folder,
            .user = ::getuid(),
            .serves = [this, build = std::move(build)](
                          std::chrono::milliseconds within) { return updates_->daemonAnswers(build, within); },
            .willStopDaemon =
                [this] {
                    if (!storeWork_) storeWork_ = std::make_shared<OneShotEvent>(loop_);
                },
            .say = [this](std::string_view line) { updates_->relay().say(line); },
            .systemLog = [this](std::string_view line) { updates_->relay().sayHere(line); }};
}

Task<MigrationRun> Application::migrateInstalled(std::string build) {
    if (auto run = co_await dance(build, false)) co_return *std::move(run);
    MigrationVerdict::PostponeAndRetry retry{
        {.version = build, .because = std::string{lockedByAnother}, .at = iso8601(std::chrono::system_clock::now())}};
    co_return MigrationRun{.verdict = std::move(retry), .serving = co_await updates_->daemonAnswers(build, {})};
}

Task<std::optional<std::string>> Application::recoverKilled(std::string build) {
    if (!isStoreLatched()) co_return std::nullopt;
    auto run = co_await dance(std::move(build), true);
    co_return run ? std::move(run->restoreLine) : std::nullopt;
}

Task<std::optional<MigrationRun>> Application::dance(std::string build, bool onlyRecovers) {
    const auto lock = co_await BlockingWork::run([store = store()] { return StoreRecovery::lock(store); });
    if (!lock) co_return std::nullopt;
    co_await dropMootMark();
    LiveMigrationDance live{std::make_shared<LiveMeetingReporter>(client_), migrationSeams(build)};
    MigrationDance dance{{.running = live,
                          .store = store(),
                          .backupDir = ClientInstance::supportRoot(support_),
                          .logPath = StoreRecovery::applyLog(store(), std::time(nullptr)),
                          .now = [] { return iso8601(std::chrono::system_clock::now()); }}};
    std::exception_ptr thrown;
    try {
        MigrationRun run;
        if (onlyRecovers) {
            run.restoreLine = co_await dance.recover(std::move(build));
        } else {
            run = co_await dance.migrateInstalled(std::move(build));
            run.planMs = live.lastPlanMs();
        }
        co_return run;
    } catch (...) {
        thrown = std::current_exception();
    }
    // A daemon that was stopped for nothing is started again, unless the store is left half-written or unjudged.
    co_await Spawning::toItsEnd([this] { return removeMootMark(store()); });
    if (storeWork_ && !isStoreLatched()) {
        co_await Spawning::toItsEnd([&live] { return startAgain(live); });
    }
    std::rethrow_exception(thrown);
}

/// A mark that turns out to tell nothing has held the daemon back until now. The caller has the store's lock.
Task<void> Application::dropMootMark() {
    if (!isStoreLatched()) co_return;
    co_await removeMootMark(store());
    if (!isStoreLatched()) co_await registerAndStartDaemon();
}

Task<bool> Application::isMigratorAtWork() const {
    return BlockingWork::run(
        [store = store()] { return StoreRecovery::standingLatch(store).is<StandingLatch::HeldByLiveMigrator>(); });
}

/// Awaits the end of a Migrator that an earlier process of this application left at work; false if there is none. One
/// that hangs gets a whole budget, of which nobody has kept the beginning, and is killed then as by its own watcher.
Task<bool> Application::untilMigratorRests() {
    constexpr LiveMigrationDance::Budgets budgets;
    const auto end = std::chrono::steady_clock::now() + budgets.apply;
    MainTimer pause{loop_};
    bool wasAtWork = false;
    while (isStoreLatched() && co_await isMigratorAtWork()) {
        wasAtWork = true;
        if (std::chrono::steady_clock::now() >= end) {
            co_await BlockingWork::run([store = store()] { StoreRecovery::killMigrator(store); });
        }
        pause.expires_after(std::chrono::seconds{5});
        co_await pause.async_wait(awaiting);
    }
    co_return wasAtWork;
}

Task<void> Application::migrateAtLaunch(MenuDuties::Duty migrate) {
    const bool wasLatched = isStoreLatched();
    co_await migrate();
    const bool wasAtWork = co_await untilMigratorRests();
    co_await untilStoreRests();
    // The daemon was not started over a latched store; without a latch it is wanted again.
    if (wasLatched) co_await registerAndStartDaemon();
    if (wasAtWork) co_await migrate();
}

Task<bool> Application::isPostponed(std::string build) const {
    return BlockingWork::run([ledger = ledger_, build = std::move(build)] { return ledger->postponed(build); });
}

Task<MarkerWrite> Application::settle(MigrationVerdict verdict, std::string build) const {
    return BlockingWork::run([ledger = ledger_, verdict = std::move(verdict), build = std::move(build)] {
        return ledger->settle(verdict, build);
    });
}

/// An end of this process that waited for the run comes after the words on it have reached the daemon's log.
Task<void> Application::migrationEnds() {
    if (!storeWork_) co_return;
    co_await Spawning::toItsEnd([this] { return updates_->relay().delivered(std::chrono::seconds{3}); });
    boost::asio::post(loop_, [this] { storeRests(); });
}

Task<void> Application::untilStoreRests() {
    if (const auto work = storeWork_) co_await work->wait();
}

void Application::storeRests() {
    if (const auto work = std::exchange(storeWork_, nullptr)) work->set();
    if (endsWhenStoreRests_) endNow(status_);
}

}  // namespace larkmoor
