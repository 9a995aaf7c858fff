// The Migrator's latch: a file beside the store, written while a migration is applied, so that one which was killed is
// known at the next launch. Lines "key value"; `pid` and `started-at-us`, the start time of that process in
// microseconds of the real-time clock, say whose it is. Pure.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor {

struct StandingLatchCases {
    struct HeldByLiveMigrator {
        std::int32_t pid = 0;
        bool operator==(const HeldByLiveMigrator&) const = default;
    };
    struct Stale {
        std::optional<std::int32_t> pid{};  ///< nothing if the latch does not tell
        bool operator==(const Stale&) const = default;
    };
    struct None {
        bool operator==(const None&) const = default;
    };
};

class StandingLatch : public ClosedVariant<StandingLatchCases, StandingLatchCases::HeldByLiveMigrator,
                                           StandingLatchCases::Stale, StandingLatchCases::None> {
  public:
    using ClosedVariant::ClosedVariant;
    using StartTimeOfPid = std::function<std::optional<std::chrono::system_clock::time_point>(std::int32_t pid)>;

    /// Of a file that is there. A process that merely has the number is told from the Migrator by its start time.
    static StandingLatch judge(std::string_view text, const StartTimeOfPid& startTimeOfPid);

    /// Whether an apply log is that of the process.
    static bool log(const std::vector<std::string>& lines, std::int32_t namesPid);

    /// The process that an apply log names last; nothing if it names none.
    static std::optional<std::int32_t> pid(const std::vector<std::string>& ofLog);
};

}  // namespace larkmoor
