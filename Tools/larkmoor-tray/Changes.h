// Lets a coroutine wait for the next change, or for a point in time.
#pragma once

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <chrono>

#include "LarkmoorBase/Task.h"

namespace larkmoor::tray {

/// One waits at a time. Main thread.
class Changes {
  public:
    using Time = std::chrono::steady_clock::time_point;

    explicit Changes(MainLoop& loop) : timer_(loop) {}

    void happened() {
        isPending_ = true;
        timer_.cancel();
    }

    /// Returns at once if something happened since the last wait.
    Task<void> next(Time until) {
        if (!isPending_) {
            timer_.expires_at(until);
            boost::system::error_code woken;
            co_await timer_.async_wait(boost::asio::redirect_error(Token{}, woken));
        }
        isPending_ = false;
    }

  private:
    using Token = boost::asio::use_awaitable_t<MainLoop::executor_type>;

    boost::asio::basic_waitable_timer<std::chrono::steady_clock, boost::asio::wait_traits<std::chrono::steady_clock>,
                                      MainLoop::executor_type>
        timer_;
    bool isPending_ = false;
};

}  // namespace larkmoor::tray
