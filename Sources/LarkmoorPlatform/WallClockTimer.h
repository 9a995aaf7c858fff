// Fires again and again by the real-time clock, so that a machine which sleeps most of the day still has its daily
// tick.
#pragma once

#include <memory>

#include "LarkmoorPlatform/WallClockSource.h"

namespace larkmoor {

/// Main thread. A tick that was slept through comes once, on waking. Destroying the timer stops it.
class WallClockTimer {
  public:
    using Duration = WallClockSource::Duration;

    /// Fires `firstDelay` from now (0 or less is the loop's next turn), and then `every` after each firing. `fire` may
    /// stop or destroy the timer.
    WallClockTimer(std::unique_ptr<WallClockSource> source, Duration firstDelay, Duration every, Duration leeway,
                   std::function<void()> fire);
    WallClockTimer(const WallClockTimer&) = delete;
    WallClockTimer& operator=(const WallClockTimer&) = delete;

    void stop();

  private:
    std::unique_ptr<WallClockSource> source_;
};

}  // namespace larkmoor
