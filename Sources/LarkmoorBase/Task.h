// Coroutine of the main loop. Tasks run on that loop's thread only; work that blocks runs elsewhere (BlockingWork.h).
#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>

namespace larkmoor {

using MainLoop = boost::asio::io_context;

/// Starts when awaited. A coroutine takes its parameters by value, since its caller's frame may be gone before it runs.
template <class T>
using Task = boost::asio::awaitable<T, MainLoop::executor_type>;

}  // namespace larkmoor
