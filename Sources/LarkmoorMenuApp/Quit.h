// Quits the settings applications, the daemon and this application.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Alerts.h"
#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

/// Main thread. Outlives its tasks; what `Seams` refers to outlives it.
class Quit {
  public:
    /// A daemon that does not answer delays the quit by no more than this.
    static constexpr std::chrono::seconds shutdownPatience{5};

    struct Seams {
        MainLoop& loop;
        std::shared_ptr<LarkmoorClient> client;
        Alerts& alerts;
        /// Asks every settings application of ours to end.
        std::function<void()> terminateSettings;
        /// Ends this application.
        std::function<void()> terminate;
    };

    explicit Quit(Seams seams) : seams_(std::move(seams)) {}

    /// Asks the user first. Does nothing while such an alert is up or the quit that follows is under way.
    Task<void> quitEverything();
    /// Quits without asking the user.
    Task<void> quitAllOf();

  private:
    Seams seams_;
    bool quitting_ = false;
};

}  // namespace larkmoor
