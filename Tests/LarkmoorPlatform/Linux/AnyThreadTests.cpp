// Functions that may be called from any thread, called from several at once.
#include <unistd.h>

#include <thread>

#include "LarkmoorPlatform/Linux/Applications/ProcessScan.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "LarkmoorPlatform/Linux/System/PropertyListDefaults.h"
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
    for (int thread = 0; thread < threads; ++thread) {
        all.emplace_back([work, thread] {
            for (int turn = 0; turn < turns; ++turn) work(std::to_string(thread) + "." + std::to_string(turn));
        });
    }
}

TEST(AnyThread, ProcessesDefaultsAndLog) {
    ProcessScan scan;
    const testing::TemporaryFolder home;
    PropertyListDefaults defaults{home.path().string(), "suite"};
    ::testing::internal::CaptureStderr();
    atOnce([&](const std::string& key) {
        const auto found = scan.scan();
        EXPECT_NE(std::ranges::find(found, ::getpid(), &RunningApplication::process), found.end());
        EXPECT_TRUE(scan.lastExecutable(::getpid()));
        EXPECT_TRUE(defaults.set(key, key));
        EXPECT_EQ(defaults.string(key), key);
        platformLog("line");
    });
    std::string lines;
    for (int line = 0; line < threads * turns; ++line) lines += "line\n";
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), lines);
    for (int thread = 0; thread < threads; ++thread) EXPECT_TRUE(defaults.string(std::to_string(thread) + ".0"));
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
