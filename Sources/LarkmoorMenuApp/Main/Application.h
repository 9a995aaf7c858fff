// The composition root: creates and owns the adapters that implement the ports. They live as long as this object. Each
// supplier of duties has a file of its own beside it.
#pragma once

#include <boost/asio/signal_set.hpp>

#include <memory>
#include <string>

#include "LarkmoorKit/Supervision/DaemonAgent.h"
#include "LarkmoorMenuApp/LocalModelsDuties.h"
#include "LarkmoorMenuApp/Main/RunningBundle.h"
#include "LarkmoorMenuApp/MenuBar.h"
#include "LarkmoorMenuApp/Update/Appcast/UpdateInstaller.h"
#include "LarkmoorMenuApp/Update/LiveMigrationDance.h"
#include "LarkmoorMenuApp/Update/PostponementLedger.h"
#include "LarkmoorMenuApp/Update/UpdateHost.h"
#include "LarkmoorMenuApp/Update/UpgradeNotice.h"
#include "LarkmoorPlatform/Linux/Applications/ApplicationLauncher.h"
#include "LarkmoorPlatform/Linux/Applications/HelperAlerts.h"
#include "LarkmoorPlatform/Linux/Applications/NotificationAlerts.h"
#include "LarkmoorPlatform/Linux/Applications/ProcessApplications.h"
#include "LarkmoorPlatform/Linux/Applications/SingleInstance.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/Fetch/HelperFetch.h"
#include "LarkmoorPlatform/Linux/HTTP/LoopbackHTTPClient.h"
#include "LarkmoorPlatform/Linux/Messaging/BusDistributedNotifications.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "LarkmoorPlatform/Linux/Services/AutostartItem.h"
#include "LarkmoorPlatform/Linux/Services/SystemdAgents.h"
#include "LarkmoorPlatform/Linux/Signatures/HelperSignatures.h"
#include "LarkmoorPlatform/Linux/System/PropertyListDefaults.h"
#include "LarkmoorPlatform/Linux/Tray/StatusNotifierItem.h"
#include "LarkmoorPlatform/PlatformLog.h"
#include "LarkmoorPlatform/Process.h"

namespace larkmoor {

class Application {
  public:
    /// `updateLock` is that of BundleExchange::settle, and `wasRefused` whether that has refused what was arranged: its
    /// record may stand on a volume that takes no changes any more, and a start anew would only refuse it again.
    Application(RunningBundle bundle, FileDescriptor updateLock, bool wasRefused);

    /// Runs until the application ends; the process's exit status.
    int run();
    /// Whether it is to be started anew after `run`: it was started again while it was quitting, or an update is in.
    bool isWantedAgain() const { return status_ == 0 && (isWantedAgain_ || isRelaunching_); }
    /// Whether `run` has ended before the menu, since the bundle's name is another build's now.
    bool isSuperseded() const { return isSuperseded_; }

  private:
    void becomeMenuBar();
    MenuPlatform platform();
    std::shared_ptr<XPCClient> dialDoor();

    // One file each.
    MenuDuties::Supervision supervisionDuties();
    MenuDuties::FirstRun firstRunDuties();
    MenuDuties::Connectors connectorDuties();
    MenuDuties::Models modelDuties();
    MenuDuties::Updates updateDuties();
    std::unique_ptr<Updater> makeUpdater(UserDriver& driver, UpdaterDelegate& delegate);
    bool consentsToUpdates() const;
    Task<void> tell(std::string sentence);

    Task<void> registerLoginItems();
    /// Whether the daemon has to stay down, or is on its way down.
    bool isDaemonHeld() const;
    /// After `release`, which takes back an earlier quit.
    Task<void> startDaemon(Task<void> release);
    Task<void> registerAndStartDaemon();
    /// The database file.
    std::string store() const;
    bool isStoreLatched() const;
    bool isQuitting() const;
    AgentGuard daemonGuard() const;
    Task<MigrationRun> migrateInstalled(std::string build);
    Task<std::optional<std::string>> recoverKilled(std::string build);
    /// Runs the dance with the store's lock; nullopt if another process has that.
    Task<std::optional<MigrationRun>> dance(std::string build, bool onlyRecovers);
    Task<void> dropMootMark();
    Task<bool> isMigratorAtWork() const;
    Task<bool> untilMigratorRests();
    Task<void> migrateAtLaunch(MenuDuties::Duty migrate);
    LiveMigrationDance::Seams migrationSeams(std::string build);
    Task<bool> isPostponed(std::string build) const;
    Task<MarkerWrite> settle(MigrationVerdict verdict, std::string build) const;
    Task<void> migrationEnds();
    Task<void> untilStoreRests();
    void storeRests();
    Task<void> warmBundledBinaries();
    HostAgent::Seams hostAgentSeams();
    LocalModelsDuties::Seams localModelsSeams();
    Task<void> removeUnit(std::string label);

    /// The token with which a window that a click opened may come to the front; "" if the host gave none.
    std::string takeActivationToken();
    void watchSignals();
    void hearEarlierSignals();
    /// At once, or when a migration has come to its end for which the daemon was stopped.
    void end(int status);
    /// Arranges what is to be installed at the quit; the last thing that happens. A Migrator that applies goes on
    /// alone.
    void endNow(int status);
    /// For reasons that tell nothing of the update that this build may be: before the menu, or without a bus.
    void endUntried(int status);
    /// To an exchange of the bundle at this moment; what is staged goes in at the quit then.
    std::string objectionToExchange() const;
    void relaunch();
    /// Says so once the menu has been up for a while, if this build is an update that was just put in; what would have
    /// ended a launch that hangs is called off then.
    void sayUpAfterUpdate();
    Task<void> sayUp(std::chrono::seconds trial);

    /// One line of the system's log.
    static void menuLog(const std::string& line) { platformLog("[larkmoor-menu] " + line); }

    MainLoop loop_{1};
    int status_ = 0;
    bool isWantedAgain_ = false;  // while it is quitting
    bool isRelaunching_ = false;
    bool hasEnded_ = false;  // the loop
    bool isSuperseded_ = false;
    bool wasSignalled_ = false;  // while something has to come to its end first
    RunningBundle bundle_;
    std::string home_ = homeFolder();
    std::string support_ = home_ + "/Library/Application Support";
    QuitSentinel quitSentinel_{QuitSentinel::defaultPath(support_)};
    boost::asio::signal_set signals_{loop_, SIGTERM, SIGINT, SIGHUP};
    SessionBus bus_{loop_};
    BusDistributedNotifications notifications_{bus_};
    SpawningProcessRunner runner_{loop_};
    ProcessApplications applications_;
    NotificationAlerts notificationAlerts_{bus_};
    NotificationAlerts news_{bus_, std::chrono::hours{24}, NotificationAlerts::Manner::news};
    HelperAlerts alerts_;
    PropertyListDefaults defaults_{home_, std::string{ClientInstance::menubarID}};
    UserManager manager_{loop_, bus_};
    AgentUnits agentUnits_{manager_, UserFolders::current(), daemonGuard()};
    SystemdLaunchAgents launchAgents_{manager_, agentUnits_};
    SystemdAgentItem agentItem_{agentUnits_, LoginItems::inBundlePlistPath(bundle_.folder)};
    AutostartItem loginItem_;
    DaemonAgent daemonAgent_;
    LoopbackHTTPClient http_{loop_};
    HelperFetch fetch_{runner_, {.helper = bundle_.beside("larkmoor-fetch"), .build = bundle_.build.value_or("")}};
    HelperSignatures signatures_{runner_,
                                 {.helper = bundle_.beside("larkmoor-verify"), .build = bundle_.build.value_or("")}};
    HostAgent hostAgent_{hostAgentSeams()};
    LocalModelsDuties localModels_{localModelsSeams()};
    FileDescriptor updateLock_;  // until we have said that we are up
    const bool wasRefused_;
    UpdateInstaller installer_{{.bundle = bundle_.folder,
                                .build = bundle_.build.value_or(""),
                                .prove =
                                    [this](std::string folder) {
                                        return signatures_.verifyBundle(std::move(folder),
                                                                        bundle_.publicKey.value_or(""), {});
                                    },
                                .objection = [this] { return objectionToExchange(); },
                                .relaunch = [this] { relaunch(); },
                                .log = menuLog,
                                .isAutomatic = [this] { return consentsToUpdates(); }}};
    StatusNotifierItem* item_ = nullptr;  // the menu bar's own, while there is one
    ApplicationLauncher launcher_;
    std::shared_ptr<XPCClient> client_;
    std::shared_ptr<PostponementLedger> ledger_ =
        std::make_shared<PostponementLedger>(ClientInstance::supportRoot(support_));
    std::shared_ptr<OneShotEvent> storeWork_;  // while a migration has the store to itself
    bool endsWhenStoreRests_ = false;
    std::unique_ptr<UpdateHost> updates_;     // while there is a menu bar
    std::shared_ptr<UpgradeNotice> upgrade_;  // the same
    std::shared_ptr<MenuBar> menuBar_;
    BusNameWatch daemonWatch_;
    SingleInstance instance_;
};

}  // namespace larkmoor
