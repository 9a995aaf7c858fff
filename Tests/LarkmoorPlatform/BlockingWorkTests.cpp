#include "LarkmoorBase/BlockingWork.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <atomic>
#include <csignal>
#include <latch>
#include <stdexcept>
#include <thread>

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

TEST(BlockingWorkTest, RunsElsewhereAndComesBackHere) {
    MainLoop loop;
    const auto here = std::this_thread::get_id();
    const auto task = [](std::thread::id main) -> Task<bool> {
        // What only moves, in and out.
        auto input = std::make_unique<int>(41);
        const auto [where, output] = co_await BlockingWork::run([input = std::move(input)]() mutable {
            return std::pair{std::this_thread::get_id(), std::make_unique<int>(*input + 1)};
        });
        co_return (where != main) && std::this_thread::get_id() == main && *output == 42;
    };
    EXPECT_EQ(runTask(loop, task(here)), true);
}

TEST(BlockingWorkTest, BringsOutWhatTheWorkThrew) {
    MainLoop loop;
    const auto task = []() -> Task<std::string> {
        try {
            co_await BlockingWork::run([] { throw std::runtime_error{"disk on fire"}; });
        } catch (const std::runtime_error& error) {
            co_return error.what();
        }
        co_return "";
    };
    EXPECT_EQ(runTask(loop, task()), "disk on fire");
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

TEST(BlockingWorkTest, OneAfterAnotherNeedsOneThread) {
    MainLoop loop;
    for (int count = 0; count < 50; ++count) runTask(loop, BlockingWork::run([] { return 0; }));
    EXPECT_LE(BlockingWorkers::of(loop).threads(), 2U);
}

TEST(BlockingWorkTest, ThreadsEndWithoutWork) {
    MainLoop loop;
    boost::asio::make_service<BlockingWorkers>(loop, std::chrono::milliseconds{20});
    EXPECT_EQ(BlockingWorkers::of(loop).threads(), 0U);
    runTask(loop, BlockingWork::run([] { return 0; }));
    EXPECT_TRUE(runUntil(loop, [&] { return BlockingWorkers::of(loop).threads() == 0; }));
    EXPECT_EQ(runTask(loop, BlockingWork::run([] { return 7; })), 7);
}

TEST(BlockingWorkTest, ThreadsTakeNoSignals) {
    MainLoop loop;
    const auto blocked = runTask(loop, BlockingWork::run([] {
                                     sigset_t mask;
                                     pthread_sigmask(SIG_SETMASK, nullptr, &mask);
                                     return sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGCHLD) == 1;
                                 }));
    EXPECT_EQ(blocked, true);
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
}

TEST(BlockingWorkTest, TheLoopsEndWaitsForWorkAndDropsItsTask) {
    Gate begun;
    std::atomic<bool> isFinished = false;
    bool isResumed = false;
    auto life = std::make_shared<int>();
    {
        MainLoop loop;
        begun.open();
        const auto task = [](Gate& gate, std::atomic<bool>& finished, bool& resumed,
                             std::shared_ptr<int>) -> Task<void> {
            co_await BlockingWork::run([&gate, &finished] {
                gate.pass();
                std::this_thread::sleep_for(std::chrono::milliseconds{50});
                finished = true;
            });
            resumed = true;
        };
        boost::asio::co_spawn(loop, task(begun, isFinished, isResumed, life), boost::asio::detached);
        begun.await(loop, 1);
        EXPECT_EQ(life.use_count(), 2);
    }
    EXPECT_TRUE(isFinished);
    EXPECT_FALSE(isResumed);
    EXPECT_EQ(life.use_count(), 1);
}

TEST(BlockingWorkTest, WorkThatOutlivesTheLoopHarmsNobody) {
    Gate gate;
    std::atomic<bool> isOver = false;
    {
        MainLoop loop;
        boost::asio::co_spawn(loop, BlockingWork::run([&] {
                                  gate.pass();
                                  isOver = true;
                                  return std::string(100, 'x');
                              }),
                              boost::asio::detached);
        gate.await(loop, 1);
    }
    EXPECT_FALSE(isOver);
    gate.open();
    while (!isOver) std::this_thread::yield();
}

}  // namespace
}  // namespace larkmoor::testing
