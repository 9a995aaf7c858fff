// The walk of a store migration: a killed one is recovered, the Migrator proven, the key fetched, the plan asked, the
// daemon stopped, the plan applied, the result judged, the backup put back where anything is wrong, and the daemon
// started again. The store is never left half-written under a running daemon: a daemon that is left down on purpose is
// an acceptable end.
//
//   way out                                          verdict     daemon afterwards
//   a live Migrator holds the latch                  retry       untouched
//   killed migration, no backup of its own           for good    untouched; the latch stands
//   killed migration, the daemon would not stop      retry       untouched; the latch stands
//   the daemon does not answer on this build         retry       untouched
//   Migrator not proven; no key handed out           retry       untouched
//   plan died without an answer                      retry       untouched
//   plan was a refusal, a crash or unreadable        for good    untouched
//   nothing pending                                  green       untouched
//   a call is live when the apply would begin        retry       untouched
//   the daemon would not stop                        retry       started again
//   the Migrator never started                       retry       started again
//   apply or floor killed by our watchdog, restored  retry       started again
//   floor never ran, restored                        retry       started again
//   apply or floor red otherwise, restored           for good    started again
//   apply red without a backup                       for good    started again
//   success, and no backup or a missing one          for good    started again
//   a restoration refused                            for good    left down on purpose
//   applied, floor green                             green       started again
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorUpdate/Dance/MigrationDanceRunning.h"
#include "LarkmoorUpdate/Dance/Verdict.h"

namespace larkmoor {

/// One run. Main thread; outlives its task.
class MigrationDance {
  public:
    using Verdict = MigrationVerdict;

    static constexpr std::chrono::seconds servingBudget{60};
    static constexpr std::string_view latchSuffix = ".migration-in-progress";

    struct Settings {
        MigrationDanceRunning& running;
        std::string store;      ///< the database file
        std::string backupDir;  ///< gets the Migrator's backup
        std::string logPath;    ///< gets the Migrator's output while it applies
        /// In ISO 8601 form.
        std::function<std::string()> now;
    };

    explicit MigrationDance(Settings settings) : settings_(std::move(settings)) {}

    /// The time of the plan is left out of the answer.
    Task<MigrationRun> migrateInstalled(std::string build);

    /// Only makes up for a migration that was killed; the line on that, if the store was restored.
    Task<std::optional<std::string>> recover(std::string build);

  private:
    /// Who speaks in the log.
    struct Narration {
        std::string build, prefix, label;
    };
    struct Recovery {
        std::optional<Verdict> stop{};  ///< without it, the dance goes on
        std::optional<std::string> restoreLine{};
    };

    void begin(std::string build);
    Task<Recovery> recoverKilledApply();
    Task<Recovery> restoreKilled(std::string opening, VouchedBackup backup);
    Task<std::optional<VouchedBackup>> backupOfKilled(std::optional<std::int32_t> pid);
    Task<Verdict> planThenApply(std::string migrator);
    Task<Verdict> applyThenEnd(std::string migrator, std::int64_t steps);
    Task<Verdict> judgeApplied(std::string migrator, std::int64_t steps, VouchedBackup backup, KeyLease& key);
    Task<Verdict> nothingWasWritten(std::string because);
    Task<Verdict> undo(std::optional<VouchedBackup> backup, MigratorExit::Red red);
    Task<Verdict> withoutBackup(std::string because);
    Task<Verdict> putBack(VouchedBackup backup, MigratorExit::Red red);

    /// Asks the daemon to start, and says how that ended: "is back up".
    Task<std::string> startedDaemon();
    Verdict retry(std::string because, bool say = true);
    Verdict forGood(std::string because, std::optional<std::string> backup, bool hasLog);

    Settings settings_;
    Narration narration_{};
    std::optional<Int> pending_{};
    bool serving_ = false;  ///< what was last learned about the daemon
};

}  // namespace larkmoor
