// The threads behind `BlockingWork`: a few, made when there is work and ended when there has been none for a while.
#pragma once

#include <boost/asio/execution_context.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>

#include "LarkmoorPlatform/Task.h"

namespace larkmoor {

/// A part of the loop, made on first use. Main thread. When the loop ends it waits a short while for work under way,
/// so that no file is cut short by a quit; work that has not begun is dropped, and no task is resumed any more.
class BlockingWorkers final : public boost::asio::execution_context::service {
  public:
    static inline boost::asio::execution_context::id id;
    static constexpr std::size_t mostThreads = 5;

    explicit BlockingWorkers(boost::asio::execution_context& loop,
                             std::chrono::milliseconds lingering = std::chrono::seconds{5});
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

}  // namespace larkmoor
