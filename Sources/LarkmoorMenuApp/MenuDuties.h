// What the composition root hands the menu: services of the platform, and the duties that other rooms supply. No field
// has a default, so the creator of a MenuBar sets every one.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorBase/Timers.h"
#include "LarkmoorKit/Door/XPCClient.h"
#include "LarkmoorKit/Menu/MenuLine.h"
#include "LarkmoorPlatform/Alerts.h"
#include "LarkmoorPlatform/DistributedNotifications.h"
#include "LarkmoorPlatform/RunningApplications.h"
#include "LarkmoorPlatform/StatusItem.h"

namespace larkmoor {

/// The references outlive the menu.
struct MenuPlatform {
    using Time = std::chrono::system_clock::time_point;
    using Log = std::function<void(std::string_view)>;
    using SetupLog = std::function<void(std::string)>;
    /// Starts an application bundle or an executable, and does not wait for it.
    using Open = std::function<void(std::string path, std::vector<std::string> arguments)>;

    MainLoop& loop;
    std::shared_ptr<XPCClient> client;
    DistributedNotifications& notifications;
    RunningApplications& applications;
    Alerts& alerts;
    std::function<std::unique_ptr<StatusItem>()> makeStatusItem;
    std::function<Time()> now;
    Log log;  ///< the platform's
    SetupLog setupLog;
    RepeatingTimer::Every every;
    Open open;
    /// Whether a migration has the store to itself, for which the daemon was stopped; and the end of that.
    std::function<bool()> isStoreAtWork;
    std::function<Task<void>()> untilStoreRests;
    /// Ends this application.
    std::function<void()> terminate;

    /// The running bundle's folder, absolute and without "." and "..".
    std::string bundle;
    std::optional<std::string> version;
    std::optional<std::string> build;
};

/// Callbacks, grouped by the room that implements them. Called on the main thread; one that blocks must move to another
/// thread by itself.
struct MenuDuties {
    using Duty = std::function<Task<void>()>;
    /// What a row shows now; nothing hides the row.
    using Line = std::function<std::optional<MenuLine>()>;
    using Question = std::function<bool()>;
    /// What a click does, and the sentence that answers it; nothing if no alert is due.
    using Click = std::function<Task<std::optional<std::string>>()>;

    struct Supervision {
        /// At launch: the application's own login item, then the daemon's agent in the bundle.
        Duty registerLoginItems;
        /// At launch, after the registration: the quit sentinel is cleared, then a loose agent is healed.
        Duty clearQuitAndHealLooseAgent;
        /// At each opening of the menu and each reopening of the application.
        Duty releaseQuitIfHeld;
    };

    struct FirstRun {
        /// At launch.
        Duty warmBundledBinaries;
        /// Whether the first-run journey has steps left; nullopt if that is not known now.
        std::function<Task<std::optional<bool>>()> journeyWarranted;
        /// The same from the files on disk alone, without a request to the daemon.
        std::function<std::optional<bool>()> journeyWarrantedUnasked;
    };

    struct Connectors {
        /// At launch: our wiring in the harnesses' files is brought up to date.
        Duty converge;
        /// When this application ends, `retire` is called.
        std::string retiredBundleID;
        /// Removes the old connection to that application.
        Duty retire;
    };

    struct Models {
        /// At launch.
        Duty startIfNeeded;
        /// At launch: connects the progress of the download pipeline to `line`; `changed` is called after each change.
        std::function<void(std::function<void()> changed)> attachProgress;
        Line line;
        Question allDownloadsDone;
        /// When this distributed notification arrives, `cancel` is called, and then the application quits.
        std::string cancelNotification;
        Duty cancel;
    };

    struct Updates {
        // At launch, in this order, after the daemon's agent is registered and healed.
        /// Restarts the daemon if its build is older than this application's, as after an update.
        Duty postSwapBounce;
        Duty migrateAtLaunch;
        /// False if no updater can run.
        std::function<Task<bool>()> buildUpdater;
        std::function<void()> armDailyClock;

        // Rows.
        /// At each tick of the refresh and at each opening of the menu, before the rows are shown: looks whether
        /// another version was installed in the running bundle's place.
        std::function<void()> lookForUpgrade;
        /// At launch: `changed` is called when `line` has changed in more than its progress.
        std::function<void(std::function<void()> changed)> attachRow;
        Line line;
        std::function<std::optional<std::string>()> postponedSentence;
        Question migrationOwed;
        Question isMigrating;

        Click checkForUpdate;
        Click installUpdate;
        Click migrate;
    };

    Supervision supervision;
    FirstRun firstRun;
    Connectors connectors;
    Models models;
    Updates updates;
};

}  // namespace larkmoor
