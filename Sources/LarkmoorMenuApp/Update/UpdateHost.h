// Joins updater, install gate, migration and menu: it checks the feed once a day by its own clock and for a click,
// feeds the update's row, and runs the migration of the store at launch and for a click.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorMenuApp/MenuDuties.h"
#include "LarkmoorMenuApp/Update/PostSwapBounce.h"
#include "LarkmoorMenuApp/Update/UpdateDriver.h"
#include "LarkmoorPlatform/UserDefaults.h"
#include "LarkmoorPlatform/WallClockTimer.h"
#include "LarkmoorUpdate/Clock/UpdateCadence.h"
#include "LarkmoorUpdate/Dance/MigrationHold.h"
#include "LarkmoorUpdate/Dance/Verdict.h"

namespace larkmoor {

/// Main thread. Outlives the menu that has its duties, and every task.
class UpdateHost final : public UpdaterDelegate {
  public:
    static constexpr std::chrono::seconds buildQuestionPause{2};

    /// The ledger of the migrations that are postponed for good.
    struct Ledger {
        std::function<Task<bool>(std::string build)> postponed;
        std::function<Task<MarkerWrite>(MigrationVerdict verdict, std::string build)> settle;
        std::function<std::optional<std::string>()> sentence;
    };

    /// The running bundle, as its property list tells it.
    struct Bundle {
        std::optional<std::string> version, build, feedURL, publicKey;
    };

    /// What is referred to outlives the host.
    struct Seams {
        MainLoop& loop;
        std::shared_ptr<LarkmoorClient> client;
        LaunchAgents& launchctl;
        UserDefaults& defaults;
        uid_t user;
        Bundle bundle;
        UpdateLogRelay::System log;
        RepeatingTimer::Every every;
        std::function<std::unique_ptr<WallClockSource>()> makeClockSource;
        std::function<std::unique_ptr<UserDriver>()> makeStandardDriver;
        /// Null if this build has no updater. The references outlive it.
        std::function<std::unique_ptr<Updater>(UserDriver&, UpdaterDelegate&)> makeUpdater;
        std::function<Task<MigrationRun>(std::string build)> migrateInstalled;
        /// Makes up for a migration that was killed, and starts no other; the line on it, if the store was restored.
        std::function<Task<std::optional<std::string>>(std::string build)> recoverKilled;
        /// Called at the end of each run, after the words on it.
        std::function<Task<void>()> migrationEnds = []() -> Task<void> { co_return; };
        Ledger ledger;
        /// Shows the person a sentence that no click waits for.
        std::function<void(const std::string& sentence)> tell = [](const std::string&) {};
        std::function<std::chrono::steady_clock::time_point()> now = [] { return std::chrono::steady_clock::now(); };
        std::shared_ptr<DoorWaiting> waiting = std::make_shared<DoorSleepWait>();
    };

    explicit UpdateHost(Seams seams);
    UpdateHost(const UpdateHost&) = delete;
    UpdateHost& operator=(const UpdateHost&) = delete;

    MenuDuties::Updates duties();

    const UpdateLogRelay& relay() const { return relay_; }
    /// Whether the daemon says within about that time that it is of this build.
    Task<bool> daemonAnswers(std::string onBuild, std::chrono::milliseconds within);

    // What the updater tells. A replaced one is ignored.
    void willDownloadUpdate(const Updater& updater, const AppcastItem& item) override;
    void failedToDownloadUpdate(const Updater& updater, const AppcastItem& item, const std::string& reason) override;
    void willExtractUpdate(const Updater& updater, const AppcastItem& item) override;
    void userDidMakeChoice(const Updater& updater, UserUpdateChoice choice, const AppcastItem& item,
                           UserUpdateState state) override;
    bool willInstallUpdateOnQuit(const Updater& updater, const AppcastItem& item,
                                 std::function<void()> immediateInstallation) override;
    bool updaterShouldRelaunchApplication(const Updater&) override { return true; }
    void didFinishUpdateCycle(const Updater& updater, const std::optional<std::string>& error) override;
    void didAbortWithError(const Updater& updater, const std::string& reason) override;

  private:
    static constexpr std::string_view waitsForMigration =
        "install now: a migration is running — the swap waits for its end";

    using Sentence = std::optional<std::string>;
    /// A click that waits for the end of its check.
    struct PendingMenuAnswer {
        Int token;
        std::function<void(std::optional<UpdateMenuAnswer>)> say;  ///< nothing: no alert is due
    };

    bool isCurrent(const Updater& updater) const { return &updater == updater_.get(); }
    bool isOptedIn() const { return updater_ && updater_->automaticallyDownloadsUpdates(); }
    std::string build() const { return seams_.bundle.build.value_or(""); }

    // The updater
    Task<bool> buildUpdaterAtLaunch();
    bool hasFeed() const;
    bool buildUpdater();
    std::shared_ptr<UpdateDriver> makeDriver();
    void rebuild();
    void armDailyClock();
    void scheduledTick();
    void checkAnew();

    // The menu
    void takeRow(const UpdateMenuLine::Event& event);
    Task<Sentence> checkForUpdate();
    Task<Sentence> installUpdate();
    Task<Sentence> migrateNow();
    void answerMenu(std::optional<UpdateMenuAnswer> answer);
    void menuCheckEnded();
    void tellNotInstalled(const std::string& reason) const;

    // The migration
    Task<void> migrateAtLaunch();
    Task<std::optional<MigrationRun>> migrate(bool atLaunch);
    /// Calls `install` when no migration is under way, which may be at once: the store must end on the build that
    /// migrated it.
    void installWhenMigrated(std::function<void()> install);
    Task<void> runMigration(bool atLaunch, std::optional<MigrationRun>& run);
    Task<void> runDance(std::optional<MigrationRun>& run);
    void installIfQueued();
    void tell(const std::vector<std::string>& lines, bool serving) const;

    const Seams seams_;
    UpdateLogRelay relay_;
    std::shared_ptr<MigrationHold> migrationHold_;
    std::shared_ptr<UpdateInstallGate> gate_;
    std::shared_ptr<UpdateDriver> driver_;  ///< null without an updater
    std::unique_ptr<Updater> updater_;
    std::optional<PendingMenuAnswer> pendingMenuAnswer_;
    Int nextToken_ = 1;
    std::unique_ptr<WallClockTimer> dailyClock_;
    std::chrono::seconds cadence_{UpdateCadence::liveCheckEverySeconds};
    bool isLaunched_ = false;  ///< the launch has come to its updater
    bool migrationOwed_ = false, migrating_ = false, installWhenMigrated_ = false;
    bool isInstallAsked_ = false;           ///< by a click, and its end is not known yet
    std::function<void()> waitingInstall_;  ///< for the end of the migration
    std::optional<UpdateMenuLine::State> rowState_;
    std::optional<UpdateMenuLine::State> preview_;  ///< shown while there is no other
    std::function<void()> rowChanged_;
};

}  // namespace larkmoor
