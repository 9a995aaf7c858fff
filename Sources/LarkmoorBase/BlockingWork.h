// Blocking work off the main thread: `BlockingWork::run` runs a plain function on a thread of a small pool
// (`BlockingWorkers`), and its result comes back to the task that awaits it. The pool's threads start when there is
// work and end when there has been none for a while; the last one returns the memory that the work took.
#pragma once

#include <boost/asio/execution_context.hpp>
#include <boost/asio/this_coro.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

/// The thread pool: a service of the loop, made on first use. Main thread. When the loop is destroyed it waits a short
/// while for work under way, so that a quit cuts no file short; work that has not begun is dropped, and no task is
/// resumed any more.
class BlockingWorkers final : public boost::asio::execution_context::service {
  public:
    static inline boost::asio::execution_context::id id;
    static constexpr std::size_t maxThreads = 5;

    explicit BlockingWorkers(boost::asio::execution_context& loop,
                             std::chrono::milliseconds maxIdle = std::chrono::seconds{5});
    ~BlockingWorkers() override;

    static BlockingWorkers& of(MainLoop& loop);

    /// Runs `work` on another thread and waits for its end; rethrows what it threw.
    Task<void> perform(std::function<void()> work);

    /// The number of threads alive now.
    std::size_t threads() const;

  private:
    struct Shared;
    using Completion = std::function<void(std::exception_ptr)>;

    void shutdown() override;
    void submit(std::function<void()> work, Completion completion);
    void complete(std::uint64_t job, std::exception_ptr thrown);

    std::shared_ptr<Shared> shared_;
    /// By job number; kept on the main thread, so that no other thread touches a coroutine.
    std::unordered_map<std::uint64_t, Completion> completions_;
    std::uint64_t lastJob_ = 0;
};

namespace BlockingWork {

/// Runs `work()` off the main thread and returns its result, or rethrows its exception. `work` captures values only,
/// since it may outlive the task when the loop is destroyed. It may have to wait for a thread: at most
/// `BlockingWorkers::maxThreads` run at once.
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
