// The application delegate: it owns the status item and the menu, starts every duty at launch, refreshes the menu from
// the daemon's answers, and turns clicks into requests. The rows, the windows and the quit are parts of their own.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorBase/Timers.h"
#include "LarkmoorKit/Menu/MenuHealth.h"
#include "LarkmoorKit/Trace/DiagnosticRelay.h"
#include "LarkmoorMenuApp/MenuDuties.h"
#include "LarkmoorMenuApp/MenuRows.h"
#include "LarkmoorMenuApp/ProgressRows.h"
#include "LarkmoorMenuApp/Quit.h"
#include "LarkmoorMenuApp/SettingsWindows.h"
#include "LarkmoorPlatform/Spawn.h"

namespace larkmoor {

/// Main thread. Every closure that outlives a call holds the menu weakly; a task under way keeps it alive.
class MenuBar final : public MenuDelegate, public std::enable_shared_from_this<MenuBar> {
  public:
    static constexpr std::chrono::seconds refreshInterval{30};
    static constexpr std::chrono::milliseconds tickerInterval{500};

    static std::shared_ptr<MenuBar> make(MenuPlatform platform, MenuDuties duties);
    ~MenuBar() override;

    /// The launch sequence. Its tasks run by themselves; the order in which they are started is part of the contract.
    void applicationDidFinishLaunching();
    /// The user started the application again. False: the platform has nothing more to do.
    bool applicationShouldHandleReopen();

    void menuWillOpen() override;
    void menuDidClose() override;
    bool validateMenuItem(const MenuRow& row) override;

    /// A quit is under way, which nothing stops.
    bool isQuitting() const { return quit_.isUnderWay(); }
    /// The daemon has come to the system: what was said of its absence is no longer true.
    void daemonArrived();
    /// One pass over the daemon's state; returns at once while another is under way.
    Task<void> refresh();

    /// For the tests.
    const MenuRows& rows() const { return rows_; }
    bool setupMode() const { return setupMode_; }

  private:
    MenuBar(MenuPlatform platform, MenuDuties duties);

    // Launch
    void buildMenu();
    MenuRows::Actions actions();
    void observeJourney();
    void observeEndOfRetiredApplication();
    void observeCancel();
    void subscribe();
    Task<void> superviseInOrder();
    Task<void> updatesInOrder();
    Task<void> openJourneyIfWarranted();
    Task<void> answerReopen();
    Task<std::optional<bool>> journeyWarranted();

    // Refresh
    void tick();
    void refreshUnasked();
    Task<void> refreshOnce();
    void applyMenuMode();
    Task<void> askFrontState();
    void redrawTrail();

    // Clicks and notifications
    MenuRow::Action sending(ControlRequest request);
    MenuRow::Action opening(WindowDoor::Pane pane, bool front);
    MenuRow::Action answering(MenuDuties::Click MenuDuties::Updates::* click);
    Task<void> control(ControlRequest request);
    Task<void> answer(MenuDuties::Click click);
    Task<void> cancelLocalModelsAndQuit();

    /// Runs `function(self)`, a Task<void>, by itself.
    template <class Function>
    void start(Function function) {
        spawn(platform_.loop, weak_from_this(), std::move(function));
    }
    /// Runs the duty by itself.
    void startDuty(MenuDuties::Duty duty);
    /// A closure that does nothing once the menu is gone.
    template <class Function>
    auto weakly(Function function) {
        return [weak = weak_from_this(), function = std::move(function)](auto&&... arguments) {
            if (const auto self = weak.lock()) function(*self, std::forward<decltype(arguments)>(arguments)...);
        };
    }

    MenuPlatform platform_;
    MenuDuties duties_;
    DiagnosticRelay relay_;

    std::unique_ptr<StatusItem> item_;
    std::shared_ptr<Menu> menu_;
    MenuRows rows_;
    RecordingRows recording_{rows_};
    ProgressRows progress_{rows_, duties_};
    SettingsWindows windows_;
    Quit quit_;

    bool journeyVisible_ = false;
    bool setupMode_ = false;
    bool refreshing_ = false;
    bool arrivedMeanwhile_ = false;  // the daemon, during the pass under way
    std::optional<bool> lastWarranted_, warrantedUnasked_;
    RefusalRun refusals_;

    OneShotEvent supervised_;  // the login items are registered and the loose agent healed, at launch
    std::unique_ptr<RepeatingTimer> timer_;
    std::unique_ptr<RepeatingTimer> modelsTicker_;  // while the menu is open
    std::unique_ptr<DistributedNotifications::Token> journeyToken_;
    std::unique_ptr<DistributedNotifications::Token> cancelDoorToken_;
};

}  // namespace larkmoor
