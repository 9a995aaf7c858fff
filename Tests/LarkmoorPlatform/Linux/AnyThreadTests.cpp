// What may be asked from any thread, asked from several at once.
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "LarkmoorPlatform/Linux/ProcessScan.h"
#include "LarkmoorPlatform/Linux/PropertyListDefaults.h"
#include "LarkmoorPlatform/Linux/SpawningProcessRunner.h"
#include "LarkmoorPlatform/PlatformLog.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

constexpr int threads = 4;
constexpr int turns = 25;

template <class Work>
void atOnce(Work work) {
    std::vector<std::jthread> all;
    for (int thread = 0; thread < threads; ++thread) all.emplace_back([work, thread] { work(thread); });
}

TEST(AnyThread, LooksAtTheProcesses) {
    ProcessScan scan;
    atOnce([&scan](int) {
        for (int turn = 0; turn < turns; ++turn) {
            const auto found = scan.look();
            EXPECT_NE(std::ranges::find(found, ::getpid(), &RunningApplication::process), found.end());
            EXPECT_TRUE(scan.listed(::getpid()));
        }
    });
}

TEST(AnyThread, KeepsEveryDefault) {
    const testing::TemporaryFolder home;
    PropertyListDefaults defaults{home.path().string(), "suite"};
    atOnce([&defaults](int thread) {
        for (int turn = 0; turn < turns; ++turn) {
            const std::string key = std::to_string(thread) + "." + std::to_string(turn);
            EXPECT_TRUE(defaults.set(key, key));
            EXPECT_EQ(defaults.string(key), key);
        }
    });
    for (int thread = 0; thread < threads; ++thread) EXPECT_TRUE(defaults.string(std::to_string(thread) + ".0"));
}

TEST(AnyThread, WritesToTheLog) {
    ::testing::internal::CaptureStderr();
    atOnce([](int) {
        for (int turn = 0; turn < turns; ++turn) platformLog("line");
    });
    std::string lines;
    for (int line = 0; line < threads * turns; ++line) lines += "line\n";
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), lines);
}

TEST(AnyThread, StopsARun) {
    MainLoop loop;
    SpawningProcessRunner runner{loop};
    for (int turn = 0; turn < turns; ++turn) {
        std::stop_source stop;
        const std::jthread other{[&stop] { stop.request_stop(); }};
        const auto result = testing::runTask(
            loop, runner.run({.executable = "/bin/sleep", .arguments = {"600"}, .budget = std::chrono::minutes{1}},
                             stop.get_token()));
        ASSERT_TRUE(result);
        EXPECT_EQ(result->description(), "ended on request");
    }
}

}  // namespace
}  // namespace larkmoor
