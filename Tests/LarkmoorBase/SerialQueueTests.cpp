// Work in the order of the calls, on a thread that comes and goes.
#include "LarkmoorBase/SerialQueue.h"

#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

namespace larkmoor {
namespace {

using std::chrono::milliseconds;

TEST(SerialQueue, ItsEndWaitsForWhatWasQueuedAndForWhatThatQueued) {
    std::atomic<int> done = 0, here = 0, hearing = 0;
    const auto caller = std::this_thread::get_id();
    {
        SerialQueue queue{"test", milliseconds{1}};
        for (int number = 0; number < 50; ++number) {
            queue.add([&] {
                ++done;
                here += std::this_thread::get_id() == caller ? 1 : 0;
                sigset_t mask;
                pthread_sigmask(SIG_SETMASK, nullptr, &mask);
                hearing += sigismember(&mask, SIGTERM) == 0 ? 1 : 0;
                queue.add([&] { ++done; });
            });
        }
    }
    EXPECT_EQ(done, 100);
    EXPECT_EQ(here, 0);
    EXPECT_EQ(hearing, 0);
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
