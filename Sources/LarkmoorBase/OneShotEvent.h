// One-shot event: once it is set, every task that waits for it continues.
#pragma once

#include <boost/asio/redirect_error.hpp>

#include "LarkmoorBase/Timers.h"

namespace larkmoor {

/// Main thread; must outlive the tasks that wait for it.
class OneShotEvent {
  public:
    explicit OneShotEvent(MainLoop& loop) : gate_(loop.get_executor(), MainTimer::time_point::max()) {}

    bool isSet() const { return isSet_; }
    void set() {
        isSet_ = true;
        gate_.cancel();
    }
    /// Returns at once if the event is set already.
    Task<void> wait() {
        boost::system::error_code cancelled;
        while (!isSet_) co_await gate_.async_wait(boost::asio::redirect_error(awaiting, cancelled));
    }

  private:
    MainTimer gate_;
    bool isSet_ = false;
};

}  // namespace larkmoor
