// The notice of another version that a package manager, or somebody by hand, has put in the running bundle's place. The
// application goes on with what it has opened; this tells the news once, offers the start in the update's row as long
// as it is true, and starts the version at a click, when no call is in progress. What our own updater exchanges is its
// own news.
#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "LarkmoorMenuApp/MenuDuties.h"
#include "LarkmoorMenuApp/Update/Appcast/BundleExchange.h"
#include "LarkmoorMenuApp/Update/UpdateInstallGate.h"
#include "LarkmoorPlatform/ProcessRunner.h"
#include "LarkmoorUpdate/Upgrade/Upgrade.h"

namespace larkmoor {

/// Main thread. Without a timer of its own until a start waits for a call's end.
class UpgradeNotice : public std::enable_shared_from_this<UpgradeNotice> {
  public:
    using Instant = UpgradeWatch::Instant;

    /// What is referred to outlives the notice and its tasks.
    struct Seams {
        MainLoop& loop;
        UpdatePlaces places;
        std::string executable;
        std::string image;  ///< leads to the file that runs, whatever is under its name by now
        BundleVersion running;
        std::shared_ptr<MeetingReporting> meeting;
        ProcessRunner& runner;
        Alerts& news;
        RepeatingTimer::Every every;
        /// Ends this application and starts the one that stands in its place, or does nothing if a quit is under way.
        std::function<void()> relaunch;
        std::function<void(const std::string&)> log;
        std::function<Instant()> now = [] { return std::chrono::steady_clock::now(); };
        std::shared_ptr<DoorWaiting> waiting = std::make_shared<DoorSleepWait>();
    };

    /// Owned by a shared_ptr.
    explicit UpgradeNotice(Seams seams);
    UpgradeNotice(const UpgradeNotice&) = delete;
    UpgradeNotice& operator=(const UpgradeNotice&) = delete;

    /// Looks at two files without opening them; at more only while they differ from what was seen last. Blocks as long
    /// as the disk does.
    void look();
    /// The duties with those of the notice before them: an installed version comes before one that is downloaded.
    MenuDuties::Updates before(MenuDuties::Updates updates);

  private:
    using Sentence = std::optional<std::string>;

    BundleSighting sight() const;
    bool isInstallerBusy() const;
    std::optional<Upgrade> installed() const;
    void take(std::optional<Upgrade> found);
    void enter(Upgrade::Stage stage);
    void followGate(const UpdateMenuLine::Event& event);
    Task<void> tell(Upgrade upgrade, std::stop_token withdrawn);
    Task<Sentence> sayInstalled();
    Task<Sentence> startAnew();
    void makeGate();
    void relaunch();

    const Seams seams_;
    UpgradeWatch watch_;
    std::shared_ptr<UpdateInstallGate> gate_;  ///< of the last start: holds it while there is a call
    std::optional<Upgrade> found_;
    std::optional<std::string> toldBuild_;
    std::stop_source news_;  ///< withdraws them
    std::function<void()> changed_;
};

}  // namespace larkmoor
