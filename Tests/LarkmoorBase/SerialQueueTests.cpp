// Work in the order of the calls, on a thread that comes and goes.
#include "LarkmoorBase/SerialQueue.h"

#include <sys/resource.h>
#include <unistd.h>

#include <atomic>

namespace larkmoor {
namespace {

using std::chrono::milliseconds;

TEST(SerialQueue, KeepsTheOrderOfEachCallersCallsOffTheirThreads) {
    std::array<std::vector<int>, 4> done;
    SerialQueue queue{"test", milliseconds{0}};
    std::vector<std::thread> callers;
    callers.reserve(done.size());
    for (std::vector<int>& own : done) {
        callers.emplace_back([&queue, &own] {
            const auto here = std::this_thread::get_id();
            for (int number = 0; number < 250; ++number)
                queue.add([&own, number, here] { own.push_back(std::this_thread::get_id() == here ? -1 : number); });
        });
    }
    for (std::thread& caller : callers) caller.join();
    queue.drain();
    for (const std::vector<int>& own : done) {
        ASSERT_EQ(own.size(), 250U);
        EXPECT_TRUE(std::ranges::is_sorted(own));
        EXPECT_EQ(own.front(), 0);
    }
}

TEST(SerialQueue, ItsEndWaitsForWhatWasQueuedAndForWhatThatQueued) {
    std::atomic<int> done = 0;
    {
        SerialQueue queue{"test", milliseconds{1}};
        for (int number = 0; number < 50; ++number) {
            queue.add([&] {
                ++done;
                queue.add([&] { ++done; });
            });
        }
    }
    EXPECT_EQ(done, 100);
}

TEST(SerialQueue, HasNoThreadWhileItRests) {
    const auto threads = [] { return std::distance(std::filesystem::directory_iterator{"/proc/self/task"}, {}); };
    std::thread{[] {}}.join();  // a sanitizer's own thread comes with the first
    SerialQueue queue{"test", milliseconds{1}};
    const auto before = threads();
    for (int round = 0; round < 3; ++round) {
        queue.drain();
        for (int tries = 0; threads() > before && tries < 30'000; ++tries) std::this_thread::sleep_for(milliseconds{1});
        EXPECT_LE(threads(), before);  // one that was joined may have been counted still
    }
}

TEST(SerialQueue, ASystemWithoutAThreadToSpareHarmsNobody) {
    ASSERT_NE(::getuid(), 0U) << "root is refused no thread";
    rlimit before{};
    ::getrlimit(RLIMIT_NPROC, &before);
    std::vector<int> done;
    SerialQueue queue{"test", milliseconds{0}};
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NPROC, &none), 0);
    EXPECT_NO_THROW(queue.add([&done] { done.push_back(1); }));
    queue.drain();
    EXPECT_EQ(done, (std::vector{1}));
    ASSERT_EQ(::setrlimit(RLIMIT_NPROC, &before), 0);
    queue.add([&done] { done.push_back(2); });
    queue.drain();
    EXPECT_EQ(done, (std::vector{1, 2}));
}

}  // namespace
}  // namespace larkmoor
