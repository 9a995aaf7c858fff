// The way off the main thread: a plain function that blocks runs on a thread of its own, and its result comes back to
// the task that waits for it.
#pragma once

#include <boost/asio/this_coro.hpp>

#include <memory>
#include <type_traits>
#include <utility>

#include "LarkmoorPlatform/BlockingWorkers.h"
#include "LarkmoorPlatform/Task.h"

namespace larkmoor::BlockingWork {

/// Runs `work()` off the main thread and gives what it returned; an exception that escapes it comes out here. `work`
/// holds values alone, since it may outlive the task when the loop ends. It may wait its turn behind work that blocks
/// for long: at most `BlockingWorkers::mostThreads` run at once.
template <class F>
Task<std::invoke_result_t<F&>> run(F work) {
    using Result = std::invoke_result_t<F&>;
    const auto executor = co_await boost::asio::this_coro::executor;
    BlockingWorkers& workers = BlockingWorkers::of(executor.context());
    auto held = std::make_shared<F>(std::move(work));
    if constexpr (std::is_void_v<Result>) {
        co_await workers.perform([held = std::move(held)] { (*held)(); });
    } else {
        auto result = std::make_shared<std::unique_ptr<Result>>();
        co_await workers.perform([held = std::move(held), result] { *result = std::make_unique<Result>((*held)()); });
        co_return std::move(**result);
    }
}

}  // namespace larkmoor::BlockingWork
