// A timer of the real-time clock when that clock is set. No test may set the machine's: this program's own
// clock_gettime, timerfd_settime and read are the system's, with a clock that can be set.
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>

#include "LarkmoorPlatform/Linux/System/TimerDescriptorSource.h"
#include "Support/RunUntil.h"

namespace {

using namespace std::chrono_literals;

std::chrono::seconds isAhead{};  ///< of the machine's clock
bool wasSet = false;             ///< since the timer was last read
int timer = -1;

void set(std::chrono::seconds forward) {
    isAhead += forward;
    wasSet = true;
    // The system makes the descriptor readable then.
    const itimerspec soon{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_nsec = 1}};
    ::syscall(SYS_timerfd_settime, timer, 0, &soon, nullptr);
}

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const auto result = ::syscall(SYS_clock_gettime, clock, time);
    if (clock == CLOCK_REALTIME) time->tv_sec += isAhead.count();
    return static_cast<int>(result);
}

extern "C" int timerfd_settime(int descriptor, int flags, const itimerspec* at, itimerspec* before) noexcept {
    timer = descriptor;
    itimerspec real = *at;
    real.it_value.tv_sec -= isAhead.count();
    return static_cast<int>(::syscall(SYS_timerfd_settime, descriptor, flags, &real, before));
}

extern "C" ssize_t read(int descriptor, void* buffer, std::size_t size) {
    if (descriptor != timer || !std::exchange(wasSet, false)) return ::syscall(SYS_read, descriptor, buffer, size);
    errno = ECANCELED;
    return -1;
}

namespace larkmoor {
namespace {

using Steady = std::chrono::steady_clock;

TEST(TimerDescriptorSource, AClockThatIsSetDelaysNothing) {
    struct Case {
        std::vector<std::chrono::seconds> forward;
        Steady::duration delay;
        bool firesAtOnce = false;
    };
    for (const auto& [forward, delay, firesAtOnce] :
         {Case{{}, 300ms}, Case{{-1h}, 300ms}, Case{{-24000h, -1h}, 300ms}, Case{{-1h, 1h}, 300ms},
          Case{{24000h}, 1h, true}, Case{{-1h, 2h}, 10min, true}}) {
        MainLoop loop;
        TimerDescriptorSource source{loop};
        const auto began = Steady::now();
        bool fired = false;
        source.schedule(source.now() + delay, 0s, [&] { fired = true; });
        for (const auto& step : forward) {
            set(step);
            testing::runReady(loop);
        }
        ASSERT_TRUE(testing::runUntil(loop, [&] { return fired; }));
        if (!firesAtOnce) EXPECT_GE(Steady::now() - began, delay);
    }
}

}  // namespace
}  // namespace larkmoor
