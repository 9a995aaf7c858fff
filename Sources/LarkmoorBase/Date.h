// A moment as the contract counts it.
#pragma once

#include <chrono>

namespace larkmoor {

/// Seconds since 2001-01-01T00:00:00Z. Kept as that number, so that reading and writing it loses nothing.
struct Date {
    double secondsSinceReference = 0;

    using Clock = std::chrono::system_clock;
    static constexpr std::chrono::sys_seconds reference{std::chrono::sys_days{std::chrono::year{2001} / 1 / 1}};

    /// To the microsecond or so, for a date of our time.
    static Date from(Clock::time_point moment) { return {std::chrono::duration<double>(moment - reference).count()}; }
    Clock::time_point timePoint() const {
        return Clock::time_point{reference} +
               std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(secondsSinceReference));
    }

    bool operator==(const Date&) const = default;
};

}  // namespace larkmoor
