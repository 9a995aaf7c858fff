// The migration dance's effects: the Migrator's runs, the key from the daemon, the daemon's stop and start, and the
// files around the store.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "LarkmoorKit/Supervision/DaemonAgent.h"
#include "LarkmoorPlatform/LaunchAgents.h"
#include "LarkmoorPlatform/MessageConnection.h"
#include "LarkmoorPlatform/ProcessRunner.h"
#include "LarkmoorPlatform/Signatures.h"
#include "LarkmoorUpdate/Dance/MigrationDanceRunning.h"
#include "LarkmoorUpdate/Meeting/MeetingReading.h"

namespace larkmoor {

/// Main thread; outlives the dance's task.
class LiveMigrationDance final : public MigrationDanceRunning {
  public:
    /// A Migrator that needs longer is killed.
    struct Budgets {
        std::chrono::seconds plan{300}, apply{5400}, floor{900};
        std::chrono::seconds key{60};    ///< the daemon's answer to the request for the key
        std::chrono::seconds start{30};  ///< the daemon's first answer after it was started
        int stopRounds = 30;             ///< looks, a second apart, whether the daemon is gone
    };

    /// The references outlive it.
    struct Seams {
        MainLoop& loop;
        ProcessRunner& runner;
        LaunchAgents& launchctl;
        DaemonAgent& agent;
        Signatures& signatures;
        Dial dial;
        std::string bundle;  ///< of this application
        uid_t user;
        /// Whether the daemon answers on this build in time.
        std::function<Task<bool>(std::chrono::milliseconds within)> serves;
        /// Called before the daemon is stopped; the store is the migration's until the run's end.
        std::function<void()> willStopDaemon;
        std::function<void(std::string_view)> say;        ///< the update log
        std::function<void(std::string_view)> systemLog;  ///< what must not reach the daemon
        Budgets budgets{};
    };

    LiveMigrationDance(std::shared_ptr<MeetingReporting> meeting, Seams seams)
        : meeting_(std::move(meeting)), seams_(std::move(seams)) {}

    /// Of the last plan, in milliseconds.
    std::optional<Int> lastPlanMs() const { return lastPlanMs_; }

    Task<InstalledMigrator::Located> installedMigrator() override;
    Task<StandingLatch> standingLatch(std::string store) override;
    Task<std::optional<std::vector<std::string>>> killedApplyLog(std::string store, std::int32_t pid) override;
    Task<bool> daemonServes(std::chrono::milliseconds within) override;
    Task<std::unique_ptr<KeyLease>> takeKeys(int legs) override;
    Task<PlanOutcome> plan(std::string version, std::string migrator, std::string store, KeyLease& key) override;
    Task<ApplyOutcome> apply(std::string migrator, std::string store, std::string backupDir, std::string log,
                             KeyLease& key) override;
    Task<std::int32_t> floor(std::string migrator, std::string store, KeyLease& key) override;
    Task<bool> meetingIsLive() override;
    Task<bool> stopDaemon() override;
    Task<bool> startDaemon() override;
    Task<void> lowerLatch(std::string store) override;
    Task<RestoreOutcome> restore(std::string store, VouchedBackup backup) override;
    Task<void> noteFoundBad(std::string store) override;
    Task<bool> exists(std::string path) override;
    void say(std::string_view line) override;

  private:
    Task<bool> isDaemonGone();

    std::shared_ptr<MeetingReporting> meeting_;
    Seams seams_;
    std::optional<Int> lastPlanMs_{};
};

}  // namespace larkmoor
