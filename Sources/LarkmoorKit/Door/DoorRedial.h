// How patient the door is with a daemon that did not answer at once.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace larkmoor {

struct DoorRedial {
    std::chrono::nanoseconds budget;  ///< how long the second attempt and the knock wait for an answer
    std::chrono::nanoseconds pause;   ///< how long a knock waits before it goes out

    static const DoorRedial standard;

    /// The budget in whole seconds, rounded down, at least 1.
    constexpr std::int64_t budgetSeconds() const {
        return std::max<std::int64_t>(1, std::chrono::duration_cast<std::chrono::seconds>(budget).count());
    }
};

inline constexpr DoorRedial DoorRedial::standard{.budget = std::chrono::seconds{3},
                                                 .pause = std::chrono::milliseconds{100}};

}  // namespace larkmoor
