// Timers on the real-time clock, which keep counting while the machine sleeps.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace larkmoor {

/// A one-shot timer of the system. Main thread. Destroying it cancels it.
class WallClockSource {
  public:
    using Date = std::chrono::system_clock::time_point;
    using Duration = std::chrono::system_clock::duration;

    virtual ~WallClockSource() = default;

    virtual Date now() const = 0;

    /// Calls `fire` once, from the main loop, when the real-time clock shows `date` or later; replaces what was
    /// scheduled before. A date that passes during sleep, or is skipped when the clock is set, fires at once. When the
    /// clock is set back, it fires as soon as the time is over that was missing to `date` at this call: else a clock
    /// that was wrong once, by years perhaps, would stop the timer for as long. `leeway` is how much later it may fire
    /// if that saves a wake-up. `fire` may destroy the source.
    virtual void schedule(Date date, Duration leeway, std::function<void()> fire) = 0;
    virtual void cancel() = 0;
};

/// A repeating timer. Main thread. Ticks that were missed during sleep come as one. Destroying it stops it.
class WallClockTimer {
  public:
    using Duration = WallClockSource::Duration;

    /// Fires `firstDelay` from now (0 or less: in the loop's next turn), then `every` after each firing. `fire` may
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
