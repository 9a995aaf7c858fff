// An end that tasks wait for: reached once, and for everybody.
#pragma once

#include <boost/asio/redirect_error.hpp>

#include "LarkmoorPlatform/MainTimer.h"

namespace larkmoor {

/// Main thread; outlives those who wait.
class Completion {
  public:
    explicit Completion(MainLoop& loop) : gate_(loop.get_executor(), MainTimer::time_point::max()) {}

    bool isReached() const { return isReached_; }
    void reach() {
        isReached_ = true;
        gate_.cancel();
    }
    /// Returns at once if the end was reached before.
    Task<void> wait() {
        boost::system::error_code cancelled;
        while (!isReached_) co_await gate_.async_wait(boost::asio::redirect_error(awaiting, cancelled));
    }

  private:
    MainTimer gate_;
    bool isReached_ = false;
};

}  // namespace larkmoor
