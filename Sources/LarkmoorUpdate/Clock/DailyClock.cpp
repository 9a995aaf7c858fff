#include "LarkmoorUpdate/Clock/DailyClock.h"

#include <fmt/format.h>

namespace larkmoor::DailyClock {

using Row = UpdateMenuLine::State;

Duration firstDelay(std::optional<Date> lastCheck, Date now, Duration every) {
    // Compared before it is subtracted: any date may have been stored, and the difference of two may be too large.
    if (!lastCheck || *lastCheck <= now - every) return Duration::zero();
    if (*lastCheck >= now) return every;
    return every - (now - *lastCheck);
}

std::optional<StandDown> standDown(bool bitsInFlight, bool menuClickOutstanding, const std::optional<Row>& row) {
    if (menuClickOutstanding) return StandDown::clickOwed;
    if (bitsInFlight) return StandDown::downloading;
    if (!row) return std::nullopt;
    using Answer = std::optional<StandDown>;
    return row->visit([](const Row::Downloading&) -> Answer { return StandDown::downloading; },
                      [](const Row::Unpacking&) -> Answer { return StandDown::downloading; },
                      [](const Row::AfterCall&) -> Answer { return StandDown::waitingForCall; },
                      [](const Row::OnQuit&) -> Answer { return std::nullopt; });
}

Tick onTick(bool bitsInFlight, bool menuClickOutstanding, const std::optional<Row>& row) {
    return standDown(bitsInFlight, menuClickOutstanding, row) ? Tick::leaveItAlone : Tick::rebuildThenCheck;
}

std::string tickLine(std::optional<StandDown> standDown, Duration every) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(every).count();
    if (!standDown) return fmt::format("daily check: tick fired (every {}s) · rebuilding, then asking", seconds);
    switch (*standDown) {
        case StandDown::clickOwed:
            return fmt::format("daily check: tick stood down (every {}s) · a menu click is still owed an answer",
                               seconds);
        case StandDown::downloading:
            return fmt::format("daily check: tick stood down (every {}s) · an update is downloading", seconds);
        case StandDown::waitingForCall:
            return fmt::format("daily check: tick stood down (every {}s) · an update is waiting for a call to end",
                               seconds);
    }
    return {};
}

}  // namespace larkmoor::DailyClock
