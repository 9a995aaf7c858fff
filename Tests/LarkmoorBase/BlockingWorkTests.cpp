#include "LarkmoorBase/BlockingWork.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <atomic>
#include <csignal>
#include <latch>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "Support/RunUntil.h"

namespace larkmoor::testing {
namespace {

/// Holds threads until it is opened.
class Gate {
  public:
    void pass() {
        ++come_;
        opened_.wait();
    }
    void open() { opened_.count_down(); }

    /// Starts what the loop has to start, and returns when so many threads have come; the loop itself would wait for
    /// the end of their work.
    void await(MainLoop& loop, std::size_t threads) {
        runReady(loop);
        while (come_ < threads) std::this_thread::yield();
    }

  private:
    std::atomic<std::size_t> come_ = 0;
    std::latch opened_{1};
};

TEST(BlockingWorkTest, RunsElsewhereWithoutSignalsAndComesBackHere) {
    MainLoop loop;
    const auto task = [](std::thread::id main) -> Task<std::string> {
        // What only moves, in and out.
        const auto [where, takesSignals, output] =
            co_await BlockingWork::run([input = std::make_unique<int>(41)]() mutable {
                sigset_t mask;
                pthread_sigmask(SIG_SETMASK, nullptr, &mask);
                return std::tuple{std::this_thread::get_id(), sigismember(&mask, SIGTERM) == 0,
                                  std::make_unique<int>(*input + 1)};
            });
        EXPECT_NE(where, main);
        EXPECT_FALSE(takesSignals);
        EXPECT_EQ(std::this_thread::get_id(), main);
        EXPECT_EQ(*output, 42);
        try {
            co_await BlockingWork::run([] { throw std::runtime_error{"disk on fire"}; });
        } catch (const std::runtime_error& error) {
            co_return error.what();
        }
        co_return "";
    };
    EXPECT_EQ(runTask(loop, task(std::this_thread::get_id())), "disk on fire");
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 0) << "the main thread takes them";
}

TEST(BlockingWorkTest, KeepsAHandfulOfThreadsAndLosesNoWork) {
    MainLoop loop;
    Gate gate;
    std::size_t done = 0;
    constexpr std::size_t jobs = 40;
    for (std::size_t job = 0; job < jobs; ++job) {
        boost::asio::co_spawn(loop, BlockingWork::run([&] { gate.pass(); }),
                              [&](const std::exception_ptr& thrown) { done += thrown ? 0 : 1; });
    }
    gate.await(loop, BlockingWorkers::maxThreads);
    EXPECT_EQ(BlockingWorkers::of(loop).threads(), BlockingWorkers::maxThreads);
    EXPECT_EQ(done, 0U);
    gate.open();
    // The loop has work for as long as something is owed.
    loop.restart();
    loop.run();
    EXPECT_EQ(done, jobs);
}

TEST(BlockingWorkTest, AJobDoesNotWaitForTheOneThatTheIdleThreadTakes) {
    MainLoop loop;
    Gate gate;
    runTask(loop, BlockingWork::run([] { return 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    for (int job = 0; job < 2; ++job)
        boost::asio::co_spawn(loop, BlockingWork::run([&] { gate.pass(); }), boost::asio::detached);
    loop.restart();
    gate.await(loop, 2);
    gate.open();
    loop.restart();
    loop.run();
}

TEST(BlockingWorkTest, ThreadsAreReusedAndEndWithoutWork) {
    MainLoop busy;
    for (int count = 0; count < 50; ++count) runTask(busy, BlockingWork::run([] { return 0; }));
    EXPECT_LE(BlockingWorkers::of(busy).threads(), 2U);

    MainLoop loop;
    boost::asio::make_service<BlockingWorkers>(loop, std::chrono::milliseconds{20});
    for (const int round : {1, 2}) {
        EXPECT_EQ(runTask(loop, BlockingWork::run([round] { return round; })), round);
        EXPECT_TRUE(runUntil(loop, [&] { return BlockingWorkers::of(loop).threads() == 0; }));
    }
}

TEST(BlockingWorkTest, TheLoopsEndWaitsForWorkAWhileAndDropsItsTask) {
    for (const bool isQuick : {true, false}) {
        Gate begun, gate;
        std::atomic<bool> isOver = false;
        bool isResumed = false;
        {
            MainLoop loop;
            const auto work = [&, isQuick] {
                begun.pass();
                if (isQuick)
                    std::this_thread::sleep_for(std::chrono::milliseconds{50});
                else
                    gate.pass();
                isOver = true;
                return std::string(100, 'x');
            };
            begun.open();
            boost::asio::co_spawn(loop, BlockingWork::run(work),
                                  [&](const std::exception_ptr&, const std::string&) { isResumed = true; });
            begun.await(loop, 1);
        }
        EXPECT_EQ(isOver, isQuick);
        EXPECT_FALSE(isResumed);
        gate.open();
        while (!isOver) std::this_thread::yield();
    }
}

}  // namespace
}  // namespace larkmoor::testing
