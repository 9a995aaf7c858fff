// Quits the settings applications, the daemon and this application.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Alerts.h"
#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

/// Main thread. Outlives its tasks; what `Seams` refers to outlives it.
class Quit {
  public:
    /// A daemon that does not answer delays the quit by no more than this.
    static constexpr std::chrono::seconds shutdownPatience{5};
    /// The Quit row asks for as long as the alert is out of sight, and for this long when it could not be shown or when
    /// the row is clicked beside it: a click on the row is the answer then.
    static constexpr std::chrono::seconds rowPatience{10};
    static constexpr const char* rowTitle = "Quit";
    static constexpr const char* rowQuestion = "Quit Larkmoor? Click again to quit";
    static constexpr const char* rowWaits = "Quits when the data is updated…";

    struct Seams {
        MainLoop& loop;
        std::shared_ptr<LarkmoorClient> client;
        Alerts& alerts;
        RepeatingTimer::Every every;
        std::function<void(std::string)> setRowTitle;
        /// Asks every settings application of ours to end.
        std::function<void()> terminateSettings;
        /// Whether the store is being migrated, which a quit lets come to its end; and that end.
        std::function<bool()> isStoreAtWork;
        std::function<Task<void>()> untilStoreRests;
        /// Ends this application.
        std::function<void()> terminate;
    };

    explicit Quit(Seams seams) : seams_(std::move(seams)) {}

    /// What a click on the row does: shows the alert, makes the row ask if the alert is up, or quits if the row asks.
    /// Does nothing while a quit is under way.
    Task<void> quitEverything();
    /// Quits without asking, after `before` has ended; an alert that is still up is withdrawn. Does nothing while a
    /// quit is under way.
    Task<void> quitAllOf(std::function<Task<void>()> before = {});
    bool isUnderWay() const { return ending_; }

  private:
    Task<void> endDaemon();
    void askInRow(bool asks);
    void askInRowForAWhile();

    Seams seams_;
    bool rowAsks_ = false;
    std::unique_ptr<RepeatingTimer> rowTimer_;  ///< ends the row's question; null while none stands, or the alert does
    bool isAlertUp_ = false;
    std::stop_source alert_;  ///< withdraws it
    bool ending_ = false;     ///< a quit is under way
};

}  // namespace larkmoor
