// A machine's clocks that a test drives, and the timers on them: the steady clock, which stops while the machine
// sleeps, and the wall clock, which can be set.
#pragma once

#include <boost/asio/redirect_error.hpp>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorMenuApp/Update/BoundedDoorCall.h"
#include "LarkmoorPlatform/WallClockTimer.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {

/// Time stands still but in `run`, `sleep` and `set`. Outlives its timers.
class DrivenClock {
  public:
    using Steady = std::chrono::steady_clock;
    using Wall = std::chrono::system_clock;
    using Duration = std::chrono::nanoseconds;

    MainLoop& loop() { return loop_; }
    Steady::time_point steady() const { return Steady::time_point{awake_}; }
    Wall::time_point wall() const { return Wall::time_point{real_ + shift_}; }
    Duration awake() const { return awake_; }

    /// Lets awake time pass, and everything that is due in it happen, in order.
    void run(Duration duration) {
        const Duration end = awake_ + duration;
        runReady(loop_);
        for (Duration next = nextDue(); next <= end; next = nextDue()) {
            pass(std::max(next - awake_, Duration::zero()));
            fireDue();
        }
        pass(end - awake_);
    }
    void sleep(Duration duration) { real_ += duration, run({}); }
    void set(Duration forward) {
        shift_ += forward;
        // A timer of the wall clock that is set is due at its date, and at the latest when the time that it was armed
        // for is over.
        for (auto& [id, timer] : wallTimers_)
            timer.at = std::min(timer.at, timer.armedAt + timer.delay - real_ + wall());
        run({});
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
        const int id = add(awake_ + duration, end);
        const std::stop_callback onStop{stop, end};
        boost::system::error_code ended;
        if (!stop.stop_requested()) co_await forever.async_wait(boost::asio::redirect_error(awaiting, ended));
        timers_.erase(id);
    }
    /// How many timers of the steady clock there are.
    std::size_t timers() const { return timers_.size(); }

  private:
    struct Timer {
        Duration at;
        std::function<void()> fire;
    };
    struct WallTimer {
        Wall::time_point at;
        Duration armedAt;  ///< in real time
        Duration delay;
        std::function<void()> fire;
    };
    struct Beat final : RepeatingTimer {
        Beat(DrivenClock& ofClock, Duration ofInterval, std::function<void()> what)
            : clock(ofClock), interval(ofInterval), function(std::move(what)) {}
        ~Beat() override { clock.timers_.erase(id); }
        void arm() {
            id = clock.add(clock.awake_ + interval, [this] { arm(), std::function{function}(); });
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
            clock.wallTimers_[id = ++clock.lastId_] = {date, clock.real_, date - clock.wall(), std::move(fire)};
        }
        void cancel() override { clock.wallTimers_.erase(id); }
        DrivenClock& clock;
        int id = 0;
    };

    int add(Duration at, std::function<void()> fire) {
        timers_[++lastId_] = {at, std::move(fire)};
        return lastId_;
    }
    void pass(Duration duration) { awake_ += duration, real_ += duration; }
    Duration nextDue() const {
        Duration next = Duration::max();
        for (const auto& [id, timer] : timers_) next = std::min(next, timer.at);
        for (const auto& [id, timer] : wallTimers_) next = std::min(next, awake_ + (timer.at - wall()));
        return next;
    }
    void fireDue() {
        const auto steadily = std::ranges::find_if(timers_, [&](const auto& each) { return each.second.at <= awake_; });
        const auto byWall =
            std::ranges::find_if(wallTimers_, [&](const auto& each) { return each.second.at <= wall(); });
        std::function<void()> fire;
        if (steadily != timers_.end()) {
            fire = std::move(timers_.extract(steadily).mapped().fire);
        } else if (byWall != wallTimers_.end()) {
            fire = std::move(wallTimers_.extract(byWall).mapped().fire);
        }
        if (fire) fire();
        runReady(loop_);
    }

    Duration awake_ = std::chrono::hours{1};
    Duration real_ = std::chrono::hours{500'000};
    Duration shift_{};
    int lastId_ = 0;
    std::map<int, Timer> timers_;
    std::map<int, WallTimer> wallTimers_;
    MainLoop loop_;  ///< the last: its tasks use the others until they are destroyed
};

}  // namespace larkmoor::testing
