// The way off the main thread: `BlockingWork::run` runs a plain function that blocks on another thread, and its result
// comes back to the task that waits for it. `BlockingWorkers` are the threads behind it: a few, started when there is
// work and ended when there has been none for a while.
#pragma once

#include <boost/asio/execution_context.hpp>
#include <boost/asio/this_coro.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

/// A part of the loop, made on first use. Main thread. When the loop ends it waits a short while for work under way,
/// so that no file is cut short by a quit; work that has not begun is dropped, and no task is resumed any more.
class BlockingWorkers final : public boost::asio::execution_context::service {
  public:
    static inline boost::asio::execution_context::id id;
    static constexpr std::size_t maxThreads = 5;

    explicit BlockingWorkers(boost::asio::execution_context& loop,
                             std::chrono::milliseconds maxIdle = std::chrono::seconds{5});
    ~BlockingWorkers() override;

    static BlockingWorkers& of(MainLoop& loop);

    /// Runs `work` on another thread; ends when it has, with what it threw if it did.
    Task<void> perform(std::function<void()> work);

    /// How many threads there are now.
    std::size_t threads() const;

  private:
    struct Shared;
    using Completion = std::function<void(std::exception_ptr)>;

    void shutdown() override;
    void submit(std::function<void()> work, Completion completion);
    void complete(std::uint64_t job, std::exception_ptr thrown);

    std::shared_ptr<Shared> shared_;
    /// What waits for its work, on this side: the threads never touch a coroutine.
    std::unordered_map<std::uint64_t, Completion> completions_;
    std::uint64_t lastJob_ = 0;
};

namespace BlockingWork {

/// Runs `work()` off the main thread and gives what it returned; an exception that escapes it comes out here. `work`
/// holds values alone, since it may outlive the task when the loop ends. It may wait its turn behind work that blocks
/// for long: at most `BlockingWorkers::maxThreads` run at once.
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

}  // namespace BlockingWork

}  // namespace larkmoor
