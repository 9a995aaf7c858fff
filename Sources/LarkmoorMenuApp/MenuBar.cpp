#include "LarkmoorMenuApp/MenuBar.h"

#include "LarkmoorBase/ScopedFlag.h"
#include "LarkmoorKit/Menu/MenuLabels.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

std::shared_ptr<MenuBar> MenuBar::make(MenuPlatform platform, MenuDuties duties) {
    return std::shared_ptr<MenuBar>{new MenuBar{std::move(platform), std::move(duties)}};
}

MenuBar::MenuBar(MenuPlatform platform, MenuDuties duties)
    : platform_(std::move(platform)),
      duties_(std::move(duties)),
      relay_(platform_.loop, DiagnosticSource::menu, platform_.client),
      windows_({.applications = platform_.applications,
                .notifications = platform_.notifications,
                .setupLog = platform_.setupLog,
                .open = platform_.open,
                .bundle = platform_.bundle}),
      quit_({.loop = platform_.loop,
             .client = platform_.client,
             .alerts = platform_.alerts,
             .every = platform_.every,
             .setRowTitle = [this](std::string title) { rows_.quitRow->setTitle(std::move(title)); },
             .terminateSettings = [this] { windows_.terminateAll(); },
             .isStoreAtWork = platform_.isStoreAtWork,
             .untilStoreRests = platform_.untilStoreRests,
             .terminate = platform_.terminate}),
      supervised_(platform_.loop) {}

MenuBar::~MenuBar() {
    if (menu_) menu_->setDelegate(nullptr);
}

// Launch

void MenuBar::applicationDidFinishLaunching() {
    item_ = platform_.makeStatusItem();
    // Nothing has been answered yet: the icon says nothing of health.
    item_->setIcon(StatusIcon::trailFilled, std::string{ClientInstance::productName});
    buildMenu();
    item_->setMenu(menu_);
    observeJourney();
    start(&MenuBar::superviseInOrder);
    startDuty(duties_.firstRun.warmBundledBinaries);
    start(&MenuBar::updatesInOrder);
    startDuty(duties_.connectors.converge);
    observeEndOfRetiredApplication();
    start(&MenuBar::refresh);
    start(&MenuBar::openJourneyIfWarranted);
    startDuty(duties_.models.startIfNeeded);
    duties_.models.attachProgress(weakly([](MenuBar& self) { self.progress_.modelsChanged(); }));
    duties_.updates.attachRow(weakly([](MenuBar& self) { self.progress_.updateChanged(self.setupMode_); }));
    observeCancel();
    subscribe();
    timer_ = platform_.every(refreshInterval, weakly([](MenuBar& self) { self.tick(); }));
}

void MenuBar::startDuty(MenuDuties::Duty duty) {
    start([duty = std::move(duty)](MenuBar&) { return duty(); });
}

/// A start of the daemon that overtakes its registration could be undone by it.
Task<void> MenuBar::superviseInOrder() {
    co_await Spawning::toItsEnd(duties_.supervision.registerLoginItems);
    co_await Spawning::toItsEnd(duties_.supervision.clearQuitAndHealLooseAgent);
    supervised_.set();
}

void MenuBar::buildMenu() {
    rows_ = MenuRows::make(MenuHeaderTitle::title(ClientInstance::productName, platform_.version, platform_.build),
                           actions());
    progress_.syncUpdateRow(setupMode_);
    menu_ = std::make_shared<Menu>(rows_.inOrder);
    menu_->setDelegate(this);
}

MenuRows::Actions MenuBar::actions() {
    return {
        .openOnboardingWindow = opening(WindowDoor::Pane::onboarding, true),
        .pauseQuarter = sending(ControlRequest::PauseFor{15}),
        .pauseHour = sending(ControlRequest::PauseFor{60}),
        .pauseForever = sending(ControlRequest::Pause{}),
        .resumeNow = sending(ControlRequest::Resume{}),
        .openEditor = opening(WindowDoor::Pane::editor, false),
        .openStats = opening(WindowDoor::Pane::stats, false),
        .openSettings = opening(WindowDoor::Pane::settings, false),
        .migrateNow = answering(&MenuDuties::Updates::migrate),
        .installUpdateNow = answering(&MenuDuties::Updates::installUpdate),
        .checkForUpdateNow = answering(&MenuDuties::Updates::checkForUpdate),
        .quitEverything =
            weakly([](MenuBar& self) { self.start([](MenuBar& menu) { return menu.quit_.quitEverything(); }); }),
    };
}

void MenuBar::observeJourney() {
    journeyToken_ = platform_.notifications.observe(
        std::string{ClientInstance::journeyVisibleNotification},
        weakly([](MenuBar& self, const std::optional<std::string>& object, const DistributedNotifications::Info&) {
            self.journeyVisible_ = object == "1";
            self.applyMenuMode();
            self.start(&MenuBar::refresh);
        }));
}

/// No migration and no update check before the daemon's agent is registered and healed, and no updater before a pending
/// migration has been dealt with.
Task<void> MenuBar::updatesInOrder() {
    const MenuDuties::Updates& updates = duties_.updates;
    co_await supervised_.wait();
    co_await Spawning::toItsEnd(updates.postSwapBounce);
    co_await Spawning::toItsEnd(updates.migrateAtLaunch);
    if (co_await updates.buildUpdater()) updates.armDailyClock();
}

void MenuBar::observeEndOfRetiredApplication() {
    platform_.applications.onEnd(duties_.connectors.retiredBundleID,
                                 weakly([](MenuBar& self) { self.startDuty(self.duties_.connectors.retire); }));
}

Task<void> MenuBar::openJourneyIfWarranted() {
    if (co_await journeyWarranted() == true) windows_.open(WindowDoor::Pane::onboarding, false);
}

/// The daemon is asked only for what the disk does not tell: it may take requests and never answer.
Task<std::optional<bool>> MenuBar::journeyWarranted() {
    const auto unasked = duties_.firstRun.journeyWarrantedUnasked();
    co_return unasked ? unasked : co_await duties_.firstRun.journeyWarranted();
}

void MenuBar::observeCancel() {
    cancelDoorToken_ = platform_.notifications.observe(
        duties_.models.cancelNotification,
        weakly([](MenuBar& self, const std::optional<std::string>&, const DistributedNotifications::Info&) {
            self.start(&MenuBar::cancelLocalModelsAndQuit);
        }));
}

void MenuBar::subscribe() {
    platform_.client->subscribe(weakly([](MenuBar& self, const GatewayEvent& event) {
        const auto* front = event.as<GatewayEvent::FrontState>();
        if (front == nullptr) return;
        self.recording_.setFront(front->_0);
        self.redrawTrail();
    }));
}

bool MenuBar::applicationShouldHandleReopen() {
    startDuty(duties_.supervision.releaseQuitIfHeld);
    start(&MenuBar::answerReopen);
    return false;
}

Task<void> MenuBar::answerReopen() {
    std::optional<bool> warranted;
    const bool visible = journeyVisible_;
    if (!visible) warranted = co_await journeyWarranted();
    if (const auto pane = WindowDoor::paneOnReopen(visible, warranted)) windows_.open(*pane, false);
}

// Refresh

void MenuBar::tick() {
    platform_.client->ensureSubscribed();
    duties_.updates.lookForUpgrade();
    start(&MenuBar::refresh);
}

void MenuBar::daemonArrived() {
    arrivedMeanwhile_ = refreshing_;
    tick();
}

Task<void> MenuBar::refresh() {
    refreshUnasked();
    // Passes never overlap, and one that is asked for meanwhile is not queued.
    if (refreshing_) co_return;
    {
        const ScopedFlag underWay{refreshing_};
        co_await refreshOnce();
    }
    // This pass may have missed the daemon by a moment. One that is silent was not missed, and may hold the next pass.
    const auto fault = platform_.client->lastDoorFault();
    const bool isMissed = fault == DoorFault::absent || fault == DoorFault::refused;
    if (std::exchange(arrivedMeanwhile_, false) && isMissed) co_await refresh();
}

/// What needs no daemon goes on beside a pass that hangs.
void MenuBar::refreshUnasked() {
    platform_.applications.refresh();
    const std::optional<bool> warranted = duties_.firstRun.journeyWarrantedUnasked();
    if (std::exchange(warrantedUnasked_, warranted) == warranted) return;
    lastWarranted_ = warranted;
    applyMenuMode();
}

Task<void> MenuBar::refreshOnce() {
    const TimedResponse health = co_await platform_.client->sendTimed(GatewayRequest::Read{ReadRequest::Health{}});
    const std::optional<DoorFault> fault = platform_.client->lastDoorFault();
    // A door that has just failed would fail again, and a daemon that is silent would hold this pass for ever.
    lastWarranted_ = fault ? duties_.firstRun.journeyWarrantedUnasked() : co_await duties_.firstRun.journeyWarranted();
    recording_.apply(MenuHealth::decide(health.response, fault, ClientProfile::production), fault,
                     MenuMode::showsAlert(journeyVisible_, lastWarranted_));
    applyMenuMode();
    if (!recording_.status().alert) {
        recording_.setFront(FrontRecording::full);
        if (!fault) co_await askFrontState();
    }
    if (refusals_.note(fault, platform_.now())) platform_.log(RefusalRun::line);
    redrawTrail();
    // Hidden and shown by the recording in both modes: a change of mode holds for these rows only until here.
    recording_.showPause();
}

void MenuBar::applyMenuMode() {
    const bool wanted = MenuMode::wantsSetup(journeyVisible_, lastWarranted_);
    if (wanted == setupMode_) return;
    setupMode_ = wanted;
    for (const auto& row : rows_.inOrder) {
        if (row == rows_.modelsLine || row == rows_.updateRow) continue;
        row->setHidden(setupMode_ ? row->tag() != MenuMode::staysInSetup : row == rows_.setupRow);
    }
    if (!setupMode_) {
        // The next pass may have to wait for the daemon: until then the rows show what was last known.
        progress_.syncPostponedRow();
        progress_.syncMigrateNowRow();
        recording_.showPause();
    }
    progress_.syncModelsLine();
}

Task<void> MenuBar::askFrontState() {
    const GatewayResponse answer = co_await platform_.client->send(GatewayRequest::Read{ReadRequest::FrontState{}});
    const auto* front = answer.as<GatewayResponse::FrontState>();
    recording_.setFront(front == nullptr ? FrontRecording::full : front->_0);
}

void MenuBar::redrawTrail() { item_->setIcon(recording_.status().icon(), recording_.status().iconLabel()); }

// The open menu

void MenuBar::menuWillOpen() {
    start(&MenuBar::refresh);
    modelsTicker_.reset();
    duties_.updates.lookForUpgrade();
    progress_.menuWillOpen(setupMode_);
    modelsTicker_ = platform_.every(tickerInterval, weakly([](MenuBar& self) { self.progress_.tick(); }));
    startDuty(duties_.supervision.releaseQuitIfHeld);
}

void MenuBar::menuDidClose() {
    modelsTicker_.reset();
    progress_.menuDidClose(setupMode_);
}

bool MenuBar::validateMenuItem(const MenuRow& row) {
    return &row != rows_.migrateNowRow.get() || !duties_.updates.isMigrating();
}

// Clicks and notifications

MenuRow::Action MenuBar::sending(ControlRequest request) {
    return weakly([request = std::move(request)](MenuBar& self) {
        self.start([request](MenuBar& menu) { return menu.control(request); });
    });
}

/// No alert: the refresh shows what is true.
Task<void> MenuBar::control(ControlRequest request) {
    const std::string_view name = verb(request);
    const TimedResponse answer = co_await platform_.client->sendTimed(GatewayRequest::Control{std::move(request)});
    if (auto note = outcomeNote(name, answer.response)) relay_.note(*std::move(note));
    co_await refresh();
}

MenuRow::Action MenuBar::opening(WindowDoor::Pane pane, bool front) {
    return weakly([pane, front](MenuBar& self) { self.windows_.open(pane, front); });
}

MenuRow::Action MenuBar::answering(MenuDuties::Click MenuDuties::Updates::* click) {
    return weakly([click](MenuBar& self) {
        self.start([click](MenuBar& menu) { return menu.answer(menu.duties_.updates.*click); });
    });
}

Task<void> MenuBar::answer(MenuDuties::Click click) {
    auto sentence = co_await click();
    if (!sentence) co_return;
    static_cast<void>(co_await platform_.alerts.show(
        Alert{.style = Alert::Style::informational, .message = *std::move(sentence), .buttons = {"OK"}}, {}));
}

Task<void> MenuBar::cancelLocalModelsAndQuit() {
    if (isQuitting()) platform_.setupLog("cancel-install: the journey asked, but a quit is under way already");
    co_await quit_.quitAllOf([this] {
        platform_.setupLog("cancel-install: the journey asked — stopping the pipeline and undoing its receipts");
        return duties_.models.cancel();
    });
}

}  // namespace larkmoor
