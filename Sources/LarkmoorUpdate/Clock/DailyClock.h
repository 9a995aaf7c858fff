// The decisions of the daily check for updates: when the first tick is due, and whether a tick asks the feed. Pure.
#pragma once

#include <boost/describe.hpp>

#include <chrono>
#include <optional>
#include <string>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorUpdate/Row/UpdateMenuLine.h"

namespace larkmoor::DailyClock {

using Date = std::chrono::system_clock::time_point;
using Duration = std::chrono::system_clock::duration;

BOOST_DEFINE_ENUM_CLASS(Tick, rebuildThenCheck, leaveItAlone)
/// Why a tick does not ask.
BOOST_DEFINE_ENUM_CLASS(StandDown, clickOwed, downloading, waitingForCall)

/// From 0, at once, to `every`. A last check in the future, as after the clock was set back, counts as made now.
Duration firstDelay(std::optional<Date> lastCheck, Date now, Duration every);

/// An update that waits for the quit is no reason: a newer one may have come.
std::optional<StandDown> standDown(bool bitsInFlight, bool menuClickOutstanding,
                                   const std::optional<UpdateMenuLine::State>& row);

Tick onTick(bool bitsInFlight, bool menuClickOutstanding, const std::optional<UpdateMenuLine::State>& row);

/// For the log.
std::string tickLine(std::optional<StandDown> standDown, Duration every);

}  // namespace larkmoor::DailyClock
