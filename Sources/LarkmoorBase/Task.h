// The coroutine of the main thread. Tasks live on the one main loop only: what blocks runs elsewhere, as a plain
// function.
#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>

namespace larkmoor {

using MainLoop = boost::asio::io_context;

/// Starts when awaited; parameters of a coroutine are values, since its caller's frame may be gone before it runs.
template <class T>
using Task = boost::asio::awaitable<T, MainLoop::executor_type>;

}  // namespace larkmoor
