// A machine's clocks that a test drives, and the timers on them.
#pragma once

#include <boost/asio/redirect_error.hpp>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorMenuApp/Update/BoundedDoorCall.h"
#include "LarkmoorPlatform/WallClockTimer.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {

/// Time stands still but in `run`. Outlives its timers.
class DrivenClock {
  public:
    using Steady = std::chrono::steady_clock;
    using Wall = std::chrono::system_clock;
    using Duration = std::chrono::nanoseconds;

    MainLoop& loop() { return loop_; }
    Steady::time_point steady() const { return Steady::time_point{now_}; }
    Wall::time_point wall() const { return Wall::time_point{now_ + std::chrono::hours{500'000}}; }

    /// Lets time pass, and everything that is due in it happen, in order.
    void run(Duration duration) {
        const Duration end = now_ + duration;
        runReady(loop_);
        const auto at = [](const auto& each) { return each.second.at; };
        while (!timers_.empty()) {
            const auto next = std::ranges::min_element(timers_, {}, at);
            if (next->second.at > end) break;
            now_ = std::max(now_, next->second.at);
            timers_.extract(next).mapped().fire();
            runReady(loop_);
        }
        now_ = end;
    }

    RepeatingTimer::Every every() {
        return [this](std::chrono::milliseconds interval, std::function<void()> function) {
            auto beat = std::make_unique<Beat>(*this, interval, std::move(function));
            beat->arm();
            return beat;
        };
    }
    std::shared_ptr<DoorWaiting> waiting() { return std::make_shared<Wait>(*this); }
    std::unique_ptr<WallClockSource> wallSource() { return std::make_unique<Source>(*this); }
    Task<void> delay(Duration duration, std::stop_token stop = {}) {
        MainTimer forever{loop_.get_executor(), MainTimer::time_point::max()};
        const auto end = [&forever] { forever.cancel(); };
        const int id = add(now_ + duration, end);
        const std::stop_callback onStop{stop, end};
        boost::system::error_code ended;
        if (!stop.stop_requested()) co_await forever.async_wait(boost::asio::redirect_error(awaiting, ended));
        timers_.erase(id);
    }
    std::size_t timers() const { return timers_.size(); }

  private:
    struct Timer {
        Duration at;
        std::function<void()> fire;
    };
    struct Beat final : RepeatingTimer {
        Beat(DrivenClock& ofClock, Duration ofInterval, std::function<void()> what)
            : clock(ofClock), interval(ofInterval), function(std::move(what)) {}
        ~Beat() override { clock.timers_.erase(id); }
        void arm() {
            id = clock.add(clock.now_ + interval, [this] { arm(), std::function{function}(); });
        }
        DrivenClock& clock;
        const Duration interval;
        const std::function<void()> function;
        int id = 0;
    };
    struct Wait final : DoorWaiting {
        explicit Wait(DrivenClock& ofClock) : clock(ofClock) {}
        Task<void> waitOut(std::chrono::milliseconds duration, std::stop_token answered) override {
            return clock.delay(duration, answered);
        }
        DrivenClock& clock;
    };
    struct Source final : WallClockSource {
        explicit Source(DrivenClock& ofClock) : clock(ofClock) {}
        ~Source() override { cancel(); }
        Date now() const override { return clock.wall(); }
        void schedule(Date date, Duration, std::function<void()> fire) override {
            cancel();
            id = clock.add(clock.now_ + (date - clock.wall()), std::move(fire));
        }
        void cancel() override { clock.timers_.erase(id); }
        DrivenClock& clock;
        int id = 0;
    };

    int add(Duration at, std::function<void()> fire) {
        timers_[++lastId_] = {at, std::move(fire)};
        return lastId_;
    }

    Duration now_ = std::chrono::hours{1};
    int lastId_ = 0;
    std::map<int, Timer> timers_;
    MainLoop loop_;  ///< the last: its tasks use the others until they are destroyed
};

}  // namespace larkmoor::testing
