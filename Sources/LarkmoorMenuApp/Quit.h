// Quits the settings applications, the daemon and this application.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Alerts.h"
#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

/// Main thread. Outlives its tasks; what `Seams` refers to outlives it.
class Quit {
  public:
    /// A daemon that does not answer delays the quit by no more than this.
    static constexpr std::chrono::seconds shutdownPatience{5};
    /// Where no alert can be shown, the Quit row asks: a second click within this time is the answer.
    static constexpr std::chrono::seconds rowPatience{10};
    static constexpr const char* rowTitle = "Quit";
    static constexpr const char* rowQuestion = "Quit Larkmoor? Click again to quit";

    struct Seams {
        MainLoop& loop;
        std::shared_ptr<LarkmoorClient> client;
        Alerts& alerts;
        std::function<std::chrono::system_clock::time_point()> now;
        /// Asks every settings application of ours to end.
        std::function<void()> terminateSettings;
        /// Ends this application.
        std::function<void()> terminate;
    };

    explicit Quit(Seams seams) : seams_(std::move(seams)) {}

    /// Asks the user first. Does nothing while such an alert is up or a quit is under way.
    Task<void> quitEverything();
    /// Whether the row is asking now.
    bool isAskedInRow() const;
    /// Quits without asking, after `before` has ended. Does nothing while a quit is under way; the answer to
    /// an alert that is still up is ignored then.
    Task<void> quitAllOf(std::function<Task<void>()> before = {});

  private:
    Seams seams_;
    std::optional<std::chrono::system_clock::time_point> askedInRow_;
    bool quitting_ = false;  ///< an alert is up, or the quit that it led to is under way
    bool ending_ = false;    ///< a quit is under way
};

}  // namespace larkmoor
