// Drives a loop until something has come true.
#pragma once

#include <boost/asio/co_spawn.hpp>

#include <exception>
#include <thread>

#include "LarkmoorBase/Task.h"

namespace larkmoor::testing {

/// False if it has not come true within the limit, which is there for tests that fail.
template <class Condition>
[[nodiscard]] bool runUntil(MainLoop& loop, Condition condition,
                            std::chrono::milliseconds limit = std::chrono::seconds{30}) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline) return false;
        loop.restart();
        // A loop with nothing to do returns at once.
        if (loop.run_one_for(deadline - now) == 0) std::this_thread::sleep_for(std::chrono::milliseconds{1});
    }
    return true;
}

/// Lets everything happen that is ready to, a round trip to another process not included.
inline void runReady(MainLoop& loop) {
    loop.restart();
    loop.poll();
}

/// Runs the task to its end; nothing if it does not end within the limit.
template <class T>
std::optional<T> runTask(MainLoop& loop, Task<T> task) {
    std::optional<T> result;
    std::exception_ptr thrown;
    boost::asio::co_spawn(loop, std::move(task), [&](std::exception_ptr escaped, T value) {
        thrown = std::move(escaped);
        result.emplace(std::move(value));
    });
    if (!runUntil(loop, [&] { return result.has_value(); })) return std::nullopt;
    if (thrown) std::rethrow_exception(thrown);
    return result;
}

}  // namespace larkmoor::testing
