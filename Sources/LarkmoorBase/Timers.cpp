#include "LarkmoorBase/Timers.h"

#include <utility>

namespace larkmoor {

namespace {

using Clock = MainTimer::clock_type;

/// The state that a pending wait refers to weakly.
class Beat : public std::enable_shared_from_this<Beat> {
  public:
    Beat(MainLoop& loop, Clock::duration interval, std::function<void()> function)
        : timer_(loop), interval_(interval), function_(std::move(function)), next_(Clock::now() + interval) {}

    void wait() {
        timer_.expires_at(next_);
        timer_.async_wait([self = weak_from_this()](boost::system::error_code failed) {
            const auto alive = self.lock();
            if (alive && !failed) alive->fire();
        });
    }

  private:
    void fire() {
        const auto missed = (Clock::now() - next_) / interval_;
        next_ += interval_ * (missed + 1);
        wait();
        function_();
    }

    MainTimer timer_;
    const Clock::duration interval_;
    const std::function<void()> function_;
    Clock::time_point next_;
};

class SteadyTimer final : public RepeatingTimer {
  public:
    explicit SteadyTimer(std::shared_ptr<Beat> beat) : beat_(std::move(beat)) {}

  private:
    std::shared_ptr<Beat> beat_;
};

}  // namespace

RepeatingTimer::Every RepeatingTimer::on(MainLoop& loop) {
    return [&loop](std::chrono::milliseconds interval, std::function<void()> function) {
        auto beat = std::make_shared<Beat>(loop, interval, std::move(function));
        beat->wait();
        return std::make_unique<SteadyTimer>(std::move(beat));
    };
}

}  // namespace larkmoor
