// A function again and again on the main loop, at a steady interval of waking time.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "LarkmoorPlatform/Task.h"

namespace larkmoor {

/// Runs for as long as it is kept. Main thread.
class RepeatingTimer {
  public:
    /// Calls the function each `interval` (more than 0), the first time one interval from now, until the token is
    /// destroyed; the function may destroy it. Beats that the loop was too busy or asleep for come as one, and the
    /// rhythm stays.
    using Every =
        std::function<std::unique_ptr<RepeatingTimer>(std::chrono::milliseconds interval, std::function<void()>)>;

    /// On the loop's own clock; the loop outlives every token.
    static Every on(MainLoop& loop);

    virtual ~RepeatingTimer() = default;
};

}  // namespace larkmoor
