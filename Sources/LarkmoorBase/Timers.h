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

/// The completion token by which a task awaits an asynchronous operation: `co_await timer.async_wait(awaiting)`.
inline constexpr boost::asio::use_awaitable_t<MainLoop::executor_type> awaiting;

/// Calls a function at intervals until it is destroyed. The steady clock stops while the machine sleeps. Main thread.
class RepeatingTimer {
  public:
    /// Starts a timer with an `interval` of more than 0, first due one interval from now. The function may destroy the
    /// timer. Calls missed while the loop was busy are merged into one; later calls stay on schedule.
    using Every =
        std::function<std::unique_ptr<RepeatingTimer>(std::chrono::milliseconds interval, std::function<void()>)>;

    /// Makes timers of that loop, which must outlive them.
    static Every on(MainLoop& loop);

    virtual ~RepeatingTimer() = default;
};

}  // namespace larkmoor
