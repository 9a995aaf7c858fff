// What the migration dance asks of the world. The dance decides; this does.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorUpdate/Dance/KeyLease.h"
#include "LarkmoorUpdate/Dance/Migrator.h"
#include "LarkmoorUpdate/Recovery/StandingLatch.h"
#include "LarkmoorUpdate/Recovery/VouchedBackup.h"

namespace larkmoor {

/// Main thread. `store` is the path of the store's database file. What throws ends the run without a verdict.
class MigrationDanceRunning {
  public:
    virtual ~MigrationDanceRunning() = default;

    virtual Task<InstalledMigrator::Located> installedMigrator() = 0;
    virtual Task<StandingLatch> standingLatch(std::string store) = 0;
    /// What tells of latch and backups in the apply log of that process: in the one of the last apply that was begun,
    /// else in the newest beside the store.
    virtual Task<std::optional<std::vector<std::string>>> killedApplyLog(std::string store, std::int32_t pid) = 0;
    /// Whether the daemon answered on this build in time.
    virtual Task<bool> daemonServes(std::chrono::milliseconds within) = 0;
    /// The store's key for that many runs of the Migrator; a lease without descriptors if the store has no key, and
    /// null if it is not handed out.
    virtual Task<std::unique_ptr<KeyLease>> takeKeys(int legs) = 0;
    // Each spends one of the lease's descriptors, if there is one. The lease outlives the task.
    virtual Task<PlanOutcome> plan(std::string version, std::string migrator, std::string store, KeyLease& key) = 0;
    virtual Task<ApplyOutcome> apply(std::string migrator, std::string store, std::string backupDir, std::string log,
                                     KeyLease& key) = 0;
    /// The exit status of the Migrator's own check of the store. A good one ends the doubt that `apply` began.
    virtual Task<std::int32_t> floor(std::string migrator, std::string store, KeyLease& key) = 0;
    virtual Task<bool> meetingIsLive() = 0;
    /// True if the daemon is down and stayed down.
    virtual Task<bool> stopDaemon() = 0;
    /// True if the daemon came back and answered.
    virtual Task<bool> startDaemon() = 0;
    /// Removes the latch, and our own mark; a failure is not reported.
    virtual Task<void> lowerLatch(std::string store) = 0;
    /// That the store must not be worked on: so that whoever comes later knows it, too. A failure is not reported.
    virtual Task<void> noteFoundBad(std::string store) = 0;
    virtual Task<RestoreOutcome> restore(std::string store, VouchedBackup backup) = 0;
    virtual Task<bool> exists(std::string path) = 0;
    /// One line for the update log.
    virtual void say(std::string_view line) = 0;
};

}  // namespace larkmoor
