#include "LarkmoorUpdate/Dance/MigrationDance.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <utility>

namespace larkmoor {

namespace {

constexpr std::string_view noKey =
    "the daemon would not hand over the store key, and there is no other way to get one — nothing was stopped and "
    "nothing was migrated";

/// A lease is closed at every exit.
class Closing {
  public:
    explicit Closing(KeyLease& lease) : lease_(lease) {}
    Closing(const Closing&) = delete;
    Closing& operator=(const Closing&) = delete;
    ~Closing() { lease_.closeUnspent(); }

  private:
    KeyLease& lease_;
};

std::string unproven(const std::vector<InstalledMigrator::Refusal>& refusals) {
    std::vector<std::string> texts;
    for (const auto& refusal : refusals) texts.push_back(refusal.description());
    return fmt::format("the installed Migrator at <this app>/{} could not be proven: {}; no key was taken",
                       InstalledMigrator::migratorRelativePath, fmt::join(texts, "; "));
}

std::string restoreFailed(std::string_view because, const std::string& why, const VouchedBackup& backup) {
    return fmt::format(
        "{}; the restore FAILED ({}), so the daemon has been left down on purpose rather than started "
        "over a half-written store (m:1418). The backup is still at {}.",
        because, why, backup.path);
}

}  // namespace

Task<std::optional<std::string>> MigrationDance::recover(std::string build) {
    begin(std::move(build));
    const Recovery recovery = co_await recoverKilledApply();
    co_return recovery.restoreLine;
}

void MigrationDance::begin(std::string build) {
    narration_ = {.build = build, .prefix = "migrations at launch, build " + build, .label = "installed"};
    pending_.reset();
    serving_ = false;
}

Task<MigrationRun> MigrationDance::migrateInstalled(std::string build) {
    begin(build);
    const Recovery recovery = co_await recoverKilledApply();
    if (recovery.stop) co_return MigrationRun{.verdict = *recovery.stop, .serving = serving_};
    const auto ended = [&](Verdict verdict) {
        return MigrationRun{.verdict = std::move(verdict),
                            .pending = pending_,
                            .serving = serving_,
                            .restoreLine = recovery.restoreLine};
    };

    serving_ = co_await settings_.running.daemonServes(servingBudget);
    if (!serving_) {
        co_return ended(retry(fmt::format("the daemon did not answer on build {} within 60 s", build)));
    }
    const auto migrator = co_await settings_.running.installedMigrator();
    if (!migrator) co_return ended(retry(unproven(migrator.error())));
    Verdict verdict = co_await planThenApply(*migrator);
    co_return ended(std::move(verdict));
}

// A migration that was killed

Task<MigrationDance::Recovery> MigrationDance::recoverKilledApply() {
    const StandingLatch latch = co_await settings_.running.standingLatch(settings_.store);
    if (const auto* held = latch.as<StandingLatch::HeldByLiveMigrator>()) {
        co_return Recovery{.stop = retry(fmt::format(
                               "a Migrator (pid {}) is still migrating this store; nothing was touched", held->pid))};
    }
    const auto* stale = latch.as<StandingLatch::Stale>();
    if (stale == nullptr) co_return Recovery{};

    const auto pid = stale->pid;
    std::string opening = fmt::format("a migration was killed mid-apply (latch pid {})",
                                      pid ? fmt::to_string(*pid) : std::string{"unreadable"});
    auto backup = co_await backupOfKilled(pid);
    if (!backup) {
        co_return Recovery{
            .stop = forGood(opening + " and left no backup of its own beside the store; nothing was touched and the "
                                      "latch stands",
                            std::nullopt, false)};
    }
    co_return co_await restoreKilled(std::move(opening), *std::move(backup));
}

Task<std::optional<VouchedBackup>> MigrationDance::backupOfKilled(std::optional<std::int32_t> pid) {
    if (!pid) co_return std::nullopt;
    const auto log = co_await settings_.running.killedApplyLog(settings_.store, *pid);
    if (!log) co_return std::nullopt;
    auto backup = VouchedBackup::read(*log);
    if (!backup || !co_await settings_.running.exists(backup->path)) co_return std::nullopt;
    co_return backup;
}

Task<MigrationDance::Recovery> MigrationDance::restoreKilled(std::string opening, VouchedBackup backup) {
    if (!co_await settings_.running.stopDaemon()) {
        co_return Recovery{
            .stop = retry("the daemon would not stay down, so the killed migration's store was not touched")};
    }
    const RestoreOutcome outcome = co_await settings_.running.restore(settings_.store, backup);
    if (const auto* refused = outcome.as<RestoreOutcome::Refused>()) {
        co_return Recovery{.stop = forGood(restoreFailed(opening, refused->why, backup), backup.path, false)};
    }
    co_await settings_.running.lowerLatch(settings_.store);
    serving_ = co_await settings_.running.startDaemon();
    std::string line = fmt::format("migrations at launch · build {} · restored {} after a killed migration ({})",
                                   narration_.build, backup.path, outcome.as<RestoreOutcome::Restored>()->detail);
    settings_.running.say(line);
    co_return Recovery{.restoreLine = std::move(line)};
}

// The migration

Task<MigrationDance::Verdict> MigrationDance::planThenApply(std::string migrator) {
    const auto key = co_await settings_.running.takeKeys(1);
    if (!key) co_return retry(std::string{noKey}, false);
    const Closing closing{*key};
    const PlanOutcome outcome = co_await settings_.running.plan(narration_.build, migrator, settings_.store, *key);
    if (const auto* planned = outcome.as<PlanOutcome::Pending>()) {
        pending_ = planned->steps;
        settings_.running.say(fmt::format("{}: {} migration step(s) pending — stopping the daemon to apply them",
                                          narration_.prefix, planned->steps));
        co_return co_await applyThenEnd(std::move(migrator), planned->steps);
    }
    if (outcome.is<PlanOutcome::NothingPending>()) {
        pending_ = 0;
        settings_.running.say(narration_.prefix + ": nothing pending in the store");
        co_return Verdict::Green{};
    }
    const auto& none = *outcome.as<PlanOutcome::NoPlan>();
    if (!MigratorExit::isAnswered(none.exit)) {
        co_return retry(fmt::format("the {} Migrator never answered the plan (exit {}): {}", narration_.label,
                                    none.exit, none.detail));
    }
    co_return forGood(fmt::format("the {} Migrator {} (exit {}): {}", narration_.label,
                                  MigratorExit::planPhrase(none.exit), none.exit, none.detail),
                      std::nullopt, true);
}

Task<MigrationDance::Verdict> MigrationDance::applyThenEnd(std::string migrator, std::int64_t steps) {
    MigrationDanceRunning& running = settings_.running;
    if (co_await running.meetingIsLive()) {
        co_return retry(
            "a call was live when the migration was due to start, and a migration stops the daemon — the migration was "
            "not started (RK's ruling (e))");
    }
    // While the daemon is up: nothing else could hand the key out afterwards.
    const auto key = co_await running.takeKeys(2);
    if (!key) co_return retry(std::string{noKey}, false);
    const Closing closing{*key};
    if (!co_await running.stopDaemon()) {
        co_return retry("the daemon would not stop, so nothing was migrated; the daemon " + co_await startedDaemon());
    }
    const ApplyOutcome applied =
        co_await running.apply(migrator, settings_.store, settings_.backupDir, settings_.logPath, *key);
    if (applied.status == MigratorExit::neverRan) {
        co_return co_await nothingWasWritten(
            fmt::format("the {} Migrator never started for the apply of {} pending step(s)", narration_.label, steps));
    }
    auto backup = VouchedBackup::read(applied.lines);
    if (applied.status != 0) {
        co_return co_await undo(std::move(backup), MigratorExit::applyRed(applied.status, steps));
    }
    // A migration without a way back is not accepted as good, even if the Migrator says that it is.
    if (!backup) {
        co_return co_await withoutBackup(
            "the Migrator reported success and named no backup, so this migration has no way back");
    }
    if (!co_await running.exists(backup->path)) {
        co_return co_await withoutBackup(fmt::format(
            "the Migrator named {} as this run's backup and no such file exists — the undo is gone", backup->path));
    }
    co_return co_await judgeApplied(std::move(migrator), steps, *std::move(backup), *key);
}

Task<MigrationDance::Verdict> MigrationDance::judgeApplied(std::string migrator, std::int64_t steps,
                                                           VouchedBackup backup, KeyLease& key) {
    const std::int32_t status = co_await settings_.running.floor(std::move(migrator), settings_.store, key);
    if (status != 0) co_return co_await putBack(std::move(backup), MigratorExit::floorRed(status));
    // The latch is the Migrator's to lower here. A daemon that is slow to answer is its supervision's business.
    const std::string daemon = co_await startedDaemon();
    settings_.running.say(fmt::format("{}: {} step(s) applied, floor green, backup at {}; the daemon {}",
                                      narration_.prefix, steps, backup.path, daemon));
    co_return Verdict::Green{};
}

Task<MigrationDance::Verdict> MigrationDance::nothingWasWritten(std::string because) {
    co_await settings_.running.lowerLatch(settings_.store);
    co_return retry(because + "; nothing was written, so there was nothing to put back, and the daemon " +
                    co_await startedDaemon());
}

Task<MigrationDance::Verdict> MigrationDance::undo(std::optional<VouchedBackup> backup, MigratorExit::Red red) {
    if (!backup) co_return co_await withoutBackup(std::move(red.because));
    co_return co_await putBack(*std::move(backup), std::move(red));
}

/// The Migrator is gone, so its latch says nothing any more.
Task<MigrationDance::Verdict> MigrationDance::withoutBackup(std::string because) {
    co_await settings_.running.lowerLatch(settings_.store);
    co_return forGood(because + "; there was no backup to restore, and the daemon " + co_await startedDaemon(),
                      std::nullopt, true);
}

/// The latch is lowered last: a process that is killed in between leaves it, and the next launch restores again. It
/// stands, too, over a store that could not be restored.
Task<MigrationDance::Verdict> MigrationDance::putBack(VouchedBackup backup, MigratorExit::Red red) {
    // What our own watchdog ended was not judged.
    if (!red.retriable) co_await settings_.running.noteFoundBad(settings_.store);
    const RestoreOutcome outcome = co_await settings_.running.restore(settings_.store, backup);
    if (const auto* refused = outcome.as<RestoreOutcome::Refused>()) {
        // The daemon stays down, whatever becomes of the backup.
        if (red.retriable) co_await settings_.running.noteFoundBad(settings_.store);
        co_return forGood(restoreFailed(red.because, refused->why, backup), backup.path, true);
    }
    co_await settings_.running.lowerLatch(settings_.store);
    std::string text =
        fmt::format("{}; the store was restored from {} ({}) and the daemon {}", red.because, backup.path,
                    outcome.as<RestoreOutcome::Restored>()->detail, co_await startedDaemon());
    co_return red.retriable ? retry(std::move(text)) : forGood(std::move(text), backup.path, true);
}

// Verdicts

Task<std::string> MigrationDance::startedDaemon() {
    serving_ = co_await settings_.running.startDaemon();
    co_return serving_ ? "is back up" : "would NOT come back up";
}

MigrationDance::Verdict MigrationDance::retry(std::string because, bool say) {
    if (say) {
        settings_.running.say(fmt::format("{} postponed, retriable — {}", narration_.prefix, because));
    }
    return Verdict::PostponeAndRetry{
        {.version = narration_.build, .because = std::move(because), .at = settings_.now()}};
}

MigrationDance::Verdict MigrationDance::forGood(std::string because, std::optional<std::string> backup, bool hasLog) {
    settings_.running.say(fmt::format("{} POSTPONED FOR GOOD — {}", narration_.prefix, because));
    return Verdict::PostponeForever{{.version = narration_.build,
                                     .because = std::move(because),
                                     .at = settings_.now(),
                                     .backup = std::move(backup),
                                     .log = hasLog ? std::optional{settings_.logPath} : std::nullopt}};
}

}  // namespace larkmoor
