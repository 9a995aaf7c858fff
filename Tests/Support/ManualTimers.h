// Repeating timers that a test fires by hand.
#pragma once

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "LarkmoorPlatform/RepeatingTimer.h"

namespace larkmoor::testing {

class ManualTimers {
  public:
    RepeatingTimer::Every every() {
        return [this](std::chrono::milliseconds interval, std::function<void()> function) {
            auto beat = std::make_shared<Beat>(interval, std::move(function));
            beats_.push_back(beat);
            return std::make_unique<Token>(std::move(beat));
        };
    }

    /// One beat of every timer of that interval; false if there is none.
    bool fire(std::chrono::milliseconds interval) {
        bool fired = false;
        for (const auto& weak : std::vector{beats_}) {
            const auto beat = weak.lock();
            if (!beat || beat->interval != interval) continue;
            beat->function();
            fired = true;
        }
        return fired;
    }

    std::size_t running() const {
        return static_cast<std::size_t>(
            std::ranges::count_if(beats_, [](const auto& weak) { return !weak.expired(); }));
    }

  private:
    struct Beat {
        Beat(std::chrono::milliseconds every, std::function<void()> work)
            : interval(every), function(std::move(work)) {}
        std::chrono::milliseconds interval;
        std::function<void()> function;
    };
    struct Token final : RepeatingTimer {
        explicit Token(std::shared_ptr<Beat> kept) : beat(std::move(kept)) {}
        std::shared_ptr<Beat> beat;
    };

    std::vector<std::weak_ptr<Beat>> beats_;
};

}  // namespace larkmoor::testing
