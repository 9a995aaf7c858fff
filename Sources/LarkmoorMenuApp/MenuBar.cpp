#include "LarkmoorMenuApp/MenuBar.h"

#include "LarkmoorConnectors/ClaudeChat/ClaudeChatRetirement.h"
#include "LarkmoorKit/Menu/MenuHeaderTitle.h"
#include "LarkmoorKit/Menu/MenuLabels.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace {

constexpr std::string_view cancelNotification = "tools.fenwright.larkmoor.cancel-local-models";

Task<void> runDuty(MenuDuties::Duty duty, std::shared_ptr<MenuBar> self, OneShotEvent* end) {
    co_await duty();
    if (end != nullptr) end->set();
    static_cast<void>(self);
}

}  // namespace

std::shared_ptr<MenuBar> MenuBar::make(MenuPlatform platform, MenuDuties duties) {
    return std::shared_ptr<MenuBar>{new MenuBar{std::move(platform), std::move(duties)}};
}

MenuBar::MenuBar(MenuPlatform platform, MenuDuties duties)
    : platform_(std::move(platform)),
      duties_(std::move(duties)),
      relay_(platform_.loop, DiagnosticSource::menu, platform_.client),
      alertLabel_(MenuLabels::attention(std::nullopt)),
      registered_(platform_.loop),
      healed_(platform_.loop) {}

MenuBar::~MenuBar() {
    if (menu_) menu_->setDelegate(nullptr);
}

void MenuBar::start(MenuDuties::Duty duty, OneShotEvent MenuBar::* end) {
    start([duty = std::move(duty), end](MenuBar& self) {
        return runDuty(duty, self.shared_from_this(), end == nullptr ? nullptr : &(self.*end));
    });
}

void MenuBar::applicationDidFinishLaunching() {
    item_ = platform_.makeStatusItem();
    // Nothing has been answered yet: the icon says nothing of health.
    item_->setIcon(StatusIcon::trailFilled, std::string{ClientInstance::productName});
    buildMenu();
    item_->setMenu(menu_);
    observeJourney();
    start(duties_.registerLoginItems, &MenuBar::registered_);
    start(duties_.warmBundledBinaries);
    start(duties_.clearQuitAndHealLooseAgent, &MenuBar::healed_);
    startUpdatesInOrder();
    start(duties_.converge);
    observeClaude();
    startFirstTasks();
    duties_.attachModelsProgress();
    observeCancel();
    subscribe();
    timer_ = platform_.every(refreshInterval, weakly([](MenuBar& self) {
                                 self.platform_.client->ensureSubscribed();
                                 self.start(&MenuBar::refresh);
                             }));
}

void MenuBar::buildMenu() {
    rows_ = MenuRows::make(MenuHeaderTitle::title(ClientInstance::productName, platform_.version, platform_.build),
                           actions());
    modelsRow_ = ModelsRow{rows_.modelsLine};
    updateBar_ = ModelsRow{rows_.updateRow};
    syncUpdateRow();
    menu_ = std::make_shared<Menu>(rows_.inOrder);
    menu_->setDelegate(this);
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
void MenuBar::startUpdatesInOrder() {
    start([](MenuBar& self) { return updatesInOrder(self.shared_from_this()); });
}

Task<void> MenuBar::updatesInOrder(std::shared_ptr<MenuBar> self) {
    co_await self->registered_.wait();
    co_await self->healed_.wait();
    co_await self->duties_.postSwapBounce();
    co_await self->duties_.migrateAtLaunch();
    if (co_await self->duties_.buildUpdater()) self->duties_.armDailyClock();
}

void MenuBar::observeClaude() {
    platform_.applications.onEnd(std::string{ClaudeChatRetirement::claudeBundleID},
                                 weakly([](MenuBar& self) { self.start(self.duties_.retireChatConnection); }));
}

void MenuBar::startFirstTasks() {
    start(&MenuBar::refresh);
    start([](MenuBar& self) { return openJourneyIfWarranted(self.shared_from_this()); });
    start(duties_.startLocalModelsIfNeeded);
}

Task<void> MenuBar::openJourneyIfWarranted(std::shared_ptr<MenuBar> self) {
    if (co_await self->duties_.journeyWarranted() == true) self->openWindow(WindowDoor::Pane::onboarding, false);
}

void MenuBar::observeCancel() {
    cancelDoorToken_ = platform_.notifications.observe(
        std::string{cancelNotification},
        weakly([](MenuBar& self, const std::optional<std::string>&, const DistributedNotifications::Info&) {
            self.start(&MenuBar::cancelLocalModelsAndQuit);
        }));
}

void MenuBar::subscribe() {
    platform_.client->subscribe(weakly([](MenuBar& self, const GatewayEvent& event) {
        const auto* front = event.as<GatewayEvent::FrontState>();
        if (front == nullptr) return;
        self.lastFront_ = front->_0;
        self.redrawTrail();
    }));
}

bool MenuBar::applicationShouldHandleReopen() {
    start(duties_.releaseQuitIfHeld);
    start([](MenuBar& self) { return answerReopen(self.shared_from_this()); });
    return false;
}

Task<void> MenuBar::answerReopen(std::shared_ptr<MenuBar> self) {
    using WindowDoor::Pane;
    if (self->journeyVisible_) {
        self->openWindow(Pane::onboarding, false);
        co_return;
    }
    const auto warranted = co_await self->duties_.journeyWarranted();
    if (warranted) self->openWindow(*warranted ? Pane::onboarding : Pane::settings, false);
}

}  // namespace larkmoor
