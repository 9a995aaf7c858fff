// Starts a main-thread task that nobody awaits.
#pragma once

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <exception>
#include <functional>
#include <memory>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace Spawning {

/// Keeps owner and function alive while the task runs.
template <class Owner, class Function>
Task<void> held(std::shared_ptr<Owner> owner, Function function) {
    // Otherwise a task that is spawned by a handler would start inside that handler.
    co_await boost::asio::post(boost::asio::use_awaitable_t<MainLoop::executor_type>{});
    co_await std::invoke(function, *owner);
}

void report(const std::exception_ptr& escaped);

/// Awaits `function()`. An escaped exception is an end like any other: it is written to the system's log.
Task<void> toItsEnd(std::function<Task<void>()> function);

}  // namespace Spawning

/// Runs `function(owner)`, a Task<void>, starting in the loop's next turn; does nothing if the owner is gone. An
/// escaped exception is written to the system's log. `function` captures values only.
template <class Owner, class Function>
void spawn(MainLoop& loop, const std::weak_ptr<Owner>& owner, Function function) {
    auto living = owner.lock();
    if (!living) return;
    boost::asio::co_spawn(loop, Spawning::held(std::move(living), std::move(function)), Spawning::report);
}

}  // namespace larkmoor
