// The application delegate, and the one place where everything meets: it owns the status item and the menu, starts
// every duty at launch, keeps the menu true to the daemon's state, and turns clicks into requests.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorBase/Timers.h"
#include "LarkmoorKit/FirstRun/WindowDoor.h"
#include "LarkmoorKit/Menu/MenuHealth.h"
#include "LarkmoorKit/Menu/RefusalRun.h"
#include "LarkmoorKit/Trace/DiagnosticRelay.h"
#include "LarkmoorMenuApp/MenuDuties.h"
#include "LarkmoorMenuApp/MenuPlatform.h"
#include "LarkmoorMenuApp/MenuRows.h"
#include "LarkmoorMenuApp/ModelsRow.h"
#include "LarkmoorPlatform/MenuDelegate.h"
#include "LarkmoorPlatform/Spawn.h"

namespace larkmoor {

/// Everything here belongs to the main thread. Every closure that outlives a call holds the menu weakly.
class MenuBar final : public MenuDelegate, public std::enable_shared_from_this<MenuBar> {
  public:
    static constexpr std::chrono::seconds refreshInterval{30};
    static constexpr std::chrono::milliseconds tickerInterval{500};
    /// What a daemon that does not answer may keep a quit waiting.
    static constexpr std::chrono::seconds quitPatience{5};

    static std::shared_ptr<MenuBar> make(MenuPlatform platform, MenuDuties duties);
    ~MenuBar() override;

    /// The launch sequence. Its tasks run by themselves; the order in which they are started is part of the contract.
    void applicationDidFinishLaunching();
    /// The person started the application again. False: nothing else is to be done about it.
    bool applicationShouldHandleReopen();

    void menuWillOpen() override;
    void menuDidClose() override;
    bool validateMenuItem(const MenuRow& row) override;

    /// One pass over the daemon's state; returns at once while another is under way.
    Task<void> refresh();

    /// For inspection, by the tests and the tray tool.
    const MenuRows& rows() const { return rows_; }
    bool setupMode() const { return setupMode_; }

  private:
    MenuBar(MenuPlatform platform, MenuDuties duties);

    // Launch
    void buildMenu();
    void observeJourney();
    void startUpdatesInOrder();
    void observeClaude();
    void startFirstTasks();
    void observeCancel();
    void subscribe();
    static Task<void> updatesInOrder(std::shared_ptr<MenuBar> self);
    static Task<void> openJourneyIfWarranted(std::shared_ptr<MenuBar> self);
    static Task<void> answerReopen(std::shared_ptr<MenuBar> self);
    /// Runs `duty` by itself, then reaches `end` if there is one.
    void start(MenuDuties::Duty duty, OneShotEvent MenuBar::* end = nullptr);
    /// Runs `function(self)`, a Task<void>, by itself.
    template <class Function>
    void start(Function function) {
        spawn(platform_.loop, weak_from_this(), std::move(function));
    }
    /// A closure that does nothing once the menu is gone.
    template <class Function>
    auto weakly(Function function) {
        return [weak = weak_from_this(), function = std::move(function)](auto&&... arguments) {
            if (const auto self = weak.lock()) function(*self, std::forward<decltype(arguments)>(arguments)...);
        };
    }

    // Refresh
    Task<void> refreshOnce();
    void apply(const MenuHealth& health, std::optional<DoorFault> fault);
    void applyMenuMode();
    Task<void> askFrontState();
    void redrawTrail();
    void showRecordingRows();

    // Rows with a life of their own
    void syncModelsLine();
    void syncPostponedRow();
    void syncUpdateRow();
    void syncMigrateNowRow();
    void paintUpdateRow();
    void showUpdateLine(const MenuDuties::Line& line);

    // Clicks
    MenuRows::Actions actions();
    MenuRow::Action sending(ControlRequest request);
    Task<void> control(ControlRequest request);
    MenuRow::Action opening(WindowDoor::Pane pane, bool front);
    void openWindow(WindowDoor::Pane pane, bool front);
    bool isOwnSettings(const RunningApplication& application) const;
    void checkForUpdateNow();
    void installUpdateNow();
    Task<void> migrateNow();
    Task<void> quitEverything();
    Task<void> cancelLocalModelsAndQuit();
    Task<void> askForShutdown(std::shared_ptr<MainTimer> patience);
    Task<void> quitAllOf();
    Task<void> inform(std::string sentence);

    MenuPlatform platform_;
    MenuDuties duties_;

    std::unique_ptr<StatusItem> item_;
    MenuRows rows_;
    std::shared_ptr<Menu> menu_;
    ModelsRow modelsRow_{nullptr};  // in modelsLine
    ModelsRow updateBar_{nullptr};  // in updateRow while an update progresses
    DiagnosticRelay relay_;

    bool journeyVisible_ = false;
    bool menuIsOpen_ = false;
    bool paused_ = false;
    bool alert_ = false;
    std::string alertLabel_;                // the icon's name while alert_
    std::optional<std::string> resumesAt_;  // while paused_, where the daemon says it
    FrontRecording lastFront_ = FrontRecording::full;
    RefusalRun refusals_;
    bool refreshing_ = false;
    bool setupMode_ = false;
    bool quitting_ = false;  // or asking whether to
    std::optional<bool> lastWarranted_;

    OneShotEvent registered_;  // task A has ended
    OneShotEvent healed_;      // task C has ended
    std::unique_ptr<RepeatingTimer> timer_;
    std::unique_ptr<RepeatingTimer> modelsTicker_;  // while the menu is open
    std::unique_ptr<DistributedNotifications::Token> journeyToken_;
    std::unique_ptr<DistributedNotifications::Token> cancelDoorToken_;
};

}  // namespace larkmoor
