// The one way to start a task of the main thread that nobody waits for.
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

/// Keeps owner and function for as long as the task runs.
template <class Owner, class Function>
Task<void> held(std::shared_ptr<Owner> owner, Function function) {
    // A task that is spawned by a handler would otherwise begin inside it.
    co_await boost::asio::post(boost::asio::use_awaitable_t<MainLoop::executor_type>{});
    co_await std::invoke(function, *owner);
}

void report(const std::exception_ptr& escaped);

}  // namespace Spawning

/// Runs `function(owner)`, a Task<void>, from the loop's next turn on; nothing if the owner is gone by now. An
/// exception that escapes is written to the platform's log. `function` holds values alone.
template <class Owner, class Function>
void spawn(MainLoop& loop, const std::weak_ptr<Owner>& owner, Function function) {
    auto living = owner.lock();
    if (!living) return;
    boost::asio::co_spawn(loop, Spawning::held(std::move(living), std::move(function)), Spawning::report);
}

}  // namespace larkmoor
