// A timer of waking time on the main loop, and what a task passes to wait for an operation there.
#pragma once

#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <chrono>

#include "LarkmoorPlatform/Task.h"

namespace larkmoor {

using MainTimer =
    boost::asio::basic_waitable_timer<std::chrono::steady_clock, boost::asio::wait_traits<std::chrono::steady_clock>,
                                      MainLoop::executor_type>;

inline constexpr boost::asio::use_awaitable_t<MainLoop::executor_type> awaiting;

}  // namespace larkmoor
