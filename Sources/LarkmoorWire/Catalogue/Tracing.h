// Log sources, icon states, and the timing of a request.
#pragma once

#include <chrono>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor {

using Duration = std::chrono::nanoseconds;

BOOST_DEFINE_ENUM_CLASS(DiagnosticSource, menu, settings, editor, mcp, ctl)

BOOST_DEFINE_ENUM_CLASS(IconTrail, alert, solid, hollow)

LARKMOOR_RECORD(LinkStages, (Duration, queued), (Duration, wire), (std::optional<Duration>, daemon),
                (std::optional<Duration>, render), (Duration, total))

}  // namespace larkmoor
