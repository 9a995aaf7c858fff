#include "LarkmoorPlatform/Linux/System/TimerDescriptorSource.h"

#include <fmt/format.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <boost/asio/posix/basic_stream_descriptor.hpp>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

/// Sleep counts, and setting the clock changes nothing.
std::chrono::nanoseconds sinceBoot() {
    timespec time{};
    ::clock_gettime(CLOCK_BOOTTIME, &time);
    return std::chrono::seconds{time.tv_sec} + std::chrono::nanoseconds{time.tv_nsec};
}

itimerspec at(WallClockSource::Date date) {
    using namespace std::chrono;
    // Zero would disarm the timer; any date in the past fires at once.
    const auto nanoseconds = std::max(duration_cast<std::chrono::nanoseconds>(date.time_since_epoch()), 1ns);
    const auto whole = floor<seconds>(nanoseconds);
    itimerspec time{};
    time.it_value.tv_sec = whole.count();
    time.it_value.tv_nsec = (nanoseconds - whole).count();
    return time;
}

}  // namespace

struct TimerDescriptorSource::Armed : std::enable_shared_from_this<Armed> {
    boost::asio::posix::basic_stream_descriptor<MainLoop::executor_type> timer;
    const Date date;
    std::chrono::nanoseconds due{};  ///< as the time since boot
    std::function<void()> fire;

    Armed(MainLoop& loop, Date when, std::function<void()> what) : timer(loop), date(when), fire(std::move(what)) {
        const Date now = std::chrono::system_clock::now();
        due = sinceBoot() + (std::max(when, now) - now);
    }

    /// False with errno set if the system refuses.
    bool arm() {
        // With CANCEL_ON_SET the call may fail with ECANCELED, before or after arming the timer, when the clock was set
        // or the machine slept.
        constexpr int flags = TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET;
        for (int tries = 0; tries < 3; ++tries) {
            // Taken in this order, the second date is the earlier one only if the clock was set back.
            const auto left = due - sinceBoot();
            const itimerspec time = at(std::min(date, std::chrono::system_clock::now() + left));
            if (::timerfd_settime(timer.native_handle(), flags, &time, nullptr) == 0) return true;
            if (errno != ECANCELED) return false;
        }
        return true;
    }

    void wait() {
        timer.async_wait(boost::asio::posix::descriptor_base::wait_read,
                         [self = weak_from_this()](boost::system::error_code failed) {
                             const auto alive = self.lock();
                             if (alive && !failed) alive->onReadable();
                         });
    }

    void onReadable() {
        std::uint64_t firings = 0;
        const ssize_t count = ::read(timer.native_handle(), &firings, sizeof firings);
        if (count == sizeof firings) return std::exchange(fire, nullptr)();
        if (errno == ECANCELED && !arm()) return logFailure();
        wait();
    }

    static void logFailure() {
        const int code = errno;
        platformLog(fmt::format("[larkmoor-menu] a timer of the real-time clock could not be set: {}",
                                std::generic_category().message(code)));
    }
};

TimerDescriptorSource::TimerDescriptorSource(MainLoop& loop) : loop_(loop) {}

TimerDescriptorSource::~TimerDescriptorSource() = default;

void TimerDescriptorSource::schedule(Date date, Duration /*leeway*/, std::function<void()> fire) {
    auto next = std::make_shared<Armed>(loop_, date, std::move(fire));
    // A descriptor that is there already cannot be lacking at a later date.
    if (armed_ && armed_->timer.is_open()) {
        armed_->timer.cancel();
        next->timer = std::move(armed_->timer);
    } else {
        FileDescriptor timer{::timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK)};
        if (!timer) return Armed::logFailure();
        boost::system::error_code failed;
        next->timer.assign(timer.get(), failed);
        if (failed) return Armed::logFailure();
        static_cast<void>(timer.release());
    }
    armed_ = std::move(next);
    if (!armed_->arm()) return Armed::logFailure();
    armed_->wait();
}

void TimerDescriptorSource::cancel() { armed_.reset(); }

}  // namespace larkmoor
