#include "LarkmoorMenuApp/Update/BoundedDoorCall.h"

#include <boost/asio/redirect_error.hpp>

#include "LarkmoorBase/Timers.h"

namespace larkmoor {

Task<void> DoorSleepWait::waitOut(std::chrono::milliseconds duration, std::stop_token answered) {
    MainTimer timer{co_await boost::asio::this_coro::executor, duration};
    if (answered.stop_requested()) co_return;
    const std::stop_callback onAnswer{answered, [&timer] { timer.cancel(); }};
    boost::system::error_code ended;
    co_await timer.async_wait(boost::asio::redirect_error(awaiting, ended));
}

}  // namespace larkmoor
