// One timer of the platform on the real-time clock.
#pragma once

#include <chrono>
#include <functional>

namespace larkmoor {

/// Main thread. Destroying it is cancelling it.
class WallClockSource {
  public:
    using Date = std::chrono::system_clock::time_point;
    using Duration = std::chrono::system_clock::duration;

    virtual ~WallClockSource() = default;

    virtual Date now() const = 0;

    /// Calls `fire` once, from the main loop, when the real-time clock shows `date` or later; what was scheduled before
    /// is forgotten. A date that passes during sleep, or that a newly set clock jumps over, comes at once. `leeway` is
    /// how late it may come where that saves the machine a waking. `fire` may destroy the source.
    virtual void schedule(Date date, Duration leeway, std::function<void()> fire) = 0;
    virtual void cancel() = 0;
};

}  // namespace larkmoor
