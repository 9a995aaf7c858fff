#include "LarkmoorMenuApp/Main/Application.h"

#include <unistd.h>

#include <csignal>

#include "CXPCShim/larkmoor_mach_service_registered.h"
#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorKit/Trace/SetupLog.h"
#include "LarkmoorMenuApp/Main/Successor.h"
#include "LarkmoorPlatform/Linux/Messaging/MessageServiceDial.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

/// Made if missing, since the receipts and logs lie in it. Its mode is that of any new folder.
void makeSupportDirectory(const std::string& support) {
    if (const auto made = Files::makeFolders(support, 0755); !made) {
        platformLog("[larkmoor-menu] " + made.error().description());
    }
}

/// Calls off what ends a launch that hangs.
void stopAlarm() {
    // One that is being handled may set another.
    std::signal(SIGALRM, SIG_IGN);
    ::alarm(0);
}

}  // namespace

Application::Application(RunningBundle bundle, FileDescriptor updateLock, bool wasRefused)
    : bundle_(std::move(bundle)),
      applications_(loop_, bus_),
      alerts_(runner_, {.helper = bundle_.beside("larkmoor-alert"),
                        .build = bundle_.build.value_or(""),
                        .activationToken = [this] { return takeActivationToken(); },
                        .fallback = &notificationAlerts_}),
      loginItem_(UserFolders::current(), {.identifier = std::string{ClientInstance::menubarID},
                                          .name = std::string{ClientInstance::productName},
                                          .icon = "larkmoor",
                                          .executable = bundle_.executable}),
      daemonAgent_({.service = agentItem_,
                    .launchctl = launchAgents_,
                    .defaults = defaults_,
                    .inBundlePlist = LoginItems::inBundlePlistPath(bundle_.folder),
                    .loosePlist = LoginItems::looseAgentPlistPath(home_),
                    .user = ::getuid(),
                    .log = platformLog}),
      wasRefused_(wasRefused),
      launcher_(runner_, [this] { return takeActivationToken(); }),
      instance_(bus_, std::string{ClientInstance::menubarID},
                {.onOwned = [this] { becomeMenuBar(); },
                 .onOther =
                     [this](SingleInstance::Other other) {
                         if (other == SingleInstance::Other::activated) return endUntried(0);
                         platformLog("[larkmoor-menu] Larkmoor is running already and does not answer — ending");
                         endUntried(3);
                     },
                 .onFailure =
                     [this](const BusError& error) {
                         // The end of the bus is told by itself.
                         if (bus_.isLost()) return;
                         platformLog("[larkmoor-menu] the session bus does not grant Larkmoor's name — ending: " +
                                     error.description());
                         endUntried(1);
                     },
                 .onActivated =
                     [this] {
                         // What we become is the application that was wanted.
                         if (hasEnded_) return;
                         isWantedAgain_ = isQuitting();
                         if (menuBar_ && !isWantedAgain_) menuBar_->applicationShouldHandleReopen();
                     }}) {
    bus_.onLost([this](const BusError& error) {
        platformLog((bus_.wasReady() ? "[larkmoor-menu] the session bus is gone, and with it every way to be seen — "
                                       "ending: "
                                     : "[larkmoor-menu] there is no session bus; start Larkmoor from within a desktop "
                                       "session, or set DBUS_SESSION_BUS_ADDRESS — ending: ") +
                    error.description());
        endUntried(1);
    });
    updateLock_ = std::move(updateLock);
    watchSignals();
    Successor::hearEndSignals();
}

void Application::watchSignals() {
    signals_.async_wait([this](const boost::system::error_code& failed, int) {
        if (failed) return;
        // A quit and a migration that are under way come to their end; a second signal ends this process now.
        isWantedAgain_ = isRelaunching_ = isSuperseded_ = false;
        if (hasEnded_) return;
        if (!menuBar_) return endUntried(0);
        if ((!isQuitting() && !storeWork_) || std::exchange(wasSignalled_, true)) return endNow(0);
        if (!isQuitting()) end(0);
        watchSignals();
    });
}

int Application::run() {
    loop_.run();
    hasEnded_ = true;
    if (isWantedAgain() || isSuperseded_) hearEarlierSignals();
    if (client_) client_->close();
    menuBar_.reset();
    return status_;
}

/// An end that is wanted after this waits for what we become. One of before, as during the exchange, may not have come
/// further than the loop.
void Application::hearEarlierSignals() {
    constexpr int maxHandlers = 1000;
    Successor::holdEndSignals();
    loop_.restart();
    for (int handlers = 0; handlers < maxHandlers && loop_.poll_one() > 0; ++handlers) {
    }
}

void Application::end(int status) {
    if (!storeWork_) return endNow(status);
    status_ = status;
    endsWhenStoreRests_ = true;
}

void Application::endNow(int status) {
    status_ = status;
    // It would outlast an exec, and end what we become.
    stopAlarm();
    // Without a menu this process is not the application.
    if (menuBar_) {
        // Whoever quits so soon after an update has seen it.
        if (status == 0) UpdateInstaller::sayUp(installer_.places(), installer_.build());
        // A migration that is left alone is judged by its own build.
        if (!storeWork_) installer_.applyAtQuit();
    }
    loop_.stop();
}

void Application::endUntried(int status) {
    if (updateLock_) BundleExchange::noteEnd(installer_.places(), status == 0 ? StartEnd::unneeded : StartEnd::untried);
    endNow(status);
}

std::string Application::objectionToExchange() const {
    // Which runs programs of this very bundle.
    if (storeWork_) return "a migration has begun";
    // Nobody would watch over the new build.
    return isQuitting() ? "Larkmoor is quitting" : "";
}

void Application::relaunch() {
    // A quit goes on to its own end.
    if (isQuitting()) return;
    isRelaunching_ = true;
    end(0);
}

void Application::sayUpAfterUpdate() {
    if (!updateLock_ && !BundleExchange::record(installer_.places())) return;
    constexpr std::chrono::seconds trial{3};
    spawn(loop_, std::weak_ptr{menuBar_}, [this, trial](MenuBar&) -> Task<void> { return sayUp(trial); });
}

Task<void> Application::sayUp(std::chrono::seconds trial) {
    MainTimer timer{loop_.get_executor(), trial};
    co_await timer.async_wait(awaiting);
    // The removal of the old bundle may take longer.
    stopAlarm();
    co_await BlockingWork::run(
        [places = installer_.places(), build = installer_.build()] { UpdateInstaller::sayUp(places, build); });
    updateLock_.reset();
}

std::string Application::takeActivationToken() {
    return item_ == nullptr ? std::string{} : item_->takeActivationToken();
}

void Application::becomeMenuBar() {
    // The application before us may have put an update in place while we began, or have left that to a launch.
    isSuperseded_ = runningExecutable().value_or(bundle_.executable) != bundle_.executable ||
                    (!wasRefused_ && BundleExchange::isArranged(installer_.places()));
    if (isSuperseded_) return endUntried(0);
    makeSupportDirectory(support_);
    client_ = dialDoor();
    menuBar_ = MenuBar::make(platform(), {.supervision = supervisionDuties(),
                                          .firstRun = firstRunDuties(),
                                          .connectors = connectorDuties(),
                                          .models = modelDuties(),
                                          .updates = updateDuties()});
    menuBar_->applicationDidFinishLaunching();
    sayUpAfterUpdate();
    daemonWatch_ = bus_.watchName(std::string{XPCEndpoint::machServiceName}, [this](const std::string& owner) {
        if (!owner.empty() && menuBar_) menuBar_->daemonArrived();
    });
}

std::shared_ptr<XPCClient> Application::dialDoor() {
    return XPCClient::make(std::string{XPCEndpoint::machServiceName},
                           {.dial = sessionBusDial(loop_),
                            .serviceRegistered =
                                [](std::string name) {
                                    return BlockingWork::run([name = std::move(name)] {
                                        return larkmoor_mach_service_registered(name.c_str());
                                    });
                                },
                            .clientLineage =
                                [executable = bundle_.executable] {
                                    return BlockingWork::run([executable] { return ClientLineage::probe(executable); });
                                }});
}

MenuPlatform Application::platform() {
    return {
        .loop = loop_,
        .client = client_,
        .notifications = notifications_,
        .applications = applications_,
        .alerts = alerts_,
        .makeStatusItem =
            [this] {
                const std::string scale = environmentVariable("GDK_SCALE");
                auto item = std::make_unique<StatusNotifierItem>(
                    loop_, bus_,
                    StatusNotifierItem::Options{
                        .title = std::string{ClientInstance::productName},
                        .iconThemePath = bundle_.resources() + "/icons",
                        .dialect = TrayDialect::of(environmentVariable("XDG_CURRENT_DESKTOP"),
                                                   scale.empty() ? environmentVariable("QT_SCALE_FACTOR") : scale)});
                item_ = item.get();
                return item;
            },
        .now = [] { return std::chrono::system_clock::now(); },
        .log = [](std::string_view line) { platformLog(line); },
        .setupLog = [](std::string line) { SetupLog::line(std::move(line)); },
        .every = RepeatingTimer::on(loop_),
        .open = [this](const std::string& path,
                       std::vector<std::string> arguments) { launcher_.open(path, std::move(arguments)); },
        .isStoreAtWork = [this] { return storeWork_ != nullptr; },
        .untilStoreRests = [this] { return untilStoreRests(); },
        .terminate = [this] { end(0); },
        .bundle = bundle_.folder,
        .version = bundle_.version,
        .build = bundle_.build,
    };
}

}  // namespace larkmoor
