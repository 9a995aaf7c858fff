// The migration of the store, at launch and for a click.
#include <fmt/format.h>

#include "LarkmoorMenuApp/Update/UpdateHost.h"
#include "LarkmoorUpdate/Dance/MigrationDance.h"

namespace larkmoor {

Task<void> UpdateHost::migrateAtLaunch() { static_cast<void>(co_await migrate(true)); }

Task<UpdateHost::Sentence> UpdateHost::migrateNow() {
    const auto run = co_await migrate(false);
    co_return run ? MigrationWords::answer(run->verdict, run->pending) : std::string{MigrationWords::notNow};
}

Task<std::optional<MigrationRun>> UpdateHost::migrate(bool atLaunch) {
    std::optional<MigrationRun> run;
    if (migrating_) co_return run;
    migrating_ = true;
    migrationHold_->setRunning(true);
    // However it ends, updates are held no longer.
    co_await Spawning::toItsEnd([this, atLaunch, &run] { return runMigration(atLaunch, run); });
    // A run without an end of its own is owed, too.
    if (!run) migrationOwed_ = true;
    co_await Spawning::toItsEnd(seams_.migrationEnds);
    migrationHold_->setRunning(false);
    migrating_ = false;
    if (rowChanged_) rowChanged_();
    if (const auto install = std::exchange(waitingInstall_, nullptr)) {
        installWhenMigrated_ = false;
        install();
    } else if (std::exchange(installWhenMigrated_, false)) {
        installIfQueued();
    } else {
        gate_->pollNow();
    }
    co_return run;
}

Task<void> UpdateHost::runMigration(bool atLaunch, std::optional<MigrationRun>& run) {
    if (!atLaunch || !co_await seams_.ledger.postponed(build())) co_return co_await runDance(run);
    migrationOwed_ = true;
    std::vector<std::string> lines;
    // The marker stands for what this build cannot do, and this is none of it.
    if (auto restored = co_await seams_.recoverKilled(build())) lines.push_back(*std::move(restored));
    lines.push_back(MigrationWords::launchLine(build(), std::nullopt, std::nullopt,
                                               fmt::format("red, postponed for build {} (standing marker)", build())));
    tell(lines, co_await daemonAnswers(build(), MigrationDance::servingBudget));
}

Task<void> UpdateHost::runDance(std::optional<MigrationRun>& run) {
    run = co_await seams_.migrateInstalled(build());
    std::string line = MigrationWords::launchLine(build(), run->pending, run->planMs, run->verdict);
    const MarkerWrite settled = co_await seams_.ledger.settle(run->verdict, build());
    if (const auto* failed = settled.as<MarkerWrite::Failed>()) {
        line += fmt::format(" · the red marker at {} could NOT be changed — {}", failed->path, failed->because);
    }
    migrationOwed_ = owed(run->verdict);
    std::vector<std::string> lines;
    if (run->restoreLine) lines.push_back(*run->restoreLine);
    lines.push_back(std::move(line));
    tell(lines, run->serving);
}

void UpdateHost::installWhenMigrated(std::function<void()> install) {
    if (!migrating_) return install();
    relay_.say(waitsForMigration);
    waitingInstall_ = std::move(install);
}

void UpdateHost::installIfQueued() {
    if (gate_->installNow()) return;
    relay_.say("install now: the migration ended with no install held — nothing to swap; the next check offers it");
}

Task<bool> UpdateHost::daemonAnswers(std::string onBuild, std::chrono::milliseconds within) {
    const auto deadline = seams_.now() + within;
    while (co_await askDaemonBuild(seams_.client, seams_.waiting) != onBuild) {
        if (seams_.now() >= deadline) co_return false;
        co_await seams_.waiting->waitOut(buildQuestionPause, {});
    }
    co_return true;
}

void UpdateHost::tell(const std::vector<std::string>& lines, bool serving) const {
    for (const std::string& line : lines) {
        if (serving) {
            relay_.say(line);
        } else {
            relay_.sayHere(fmt::format("{} · the daemon did not answer on build {}, so this line reached NSLog only",
                                       line, build()));
        }
    }
}

}  // namespace larkmoor
