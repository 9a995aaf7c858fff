// Steady-clock timers of the main loop: one shot (`MainTimer`) and repeating (`RepeatingTimer`).
#pragma once

#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <chrono>
#include <functional>
#include <memory>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

using MainTimer =
    boost::asio::basic_waitable_timer<std::chrono::steady_clock, boost::asio::wait_traits<std::chrono::steady_clock>,
                                      MainLoop::executor_type>;

/// What a task passes to an asynchronous operation of the loop in order to wait for it.
inline constexpr boost::asio::use_awaitable_t<MainLoop::executor_type> awaiting;

/// Calls a function again and again, for as long as it is kept. The steady clock stands still while the machine
/// sleeps. Main thread.
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
