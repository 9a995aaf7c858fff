// What the store takes on disk, and what the person has granted.
#pragma once

#include "LarkmoorBase/Record.h"

namespace larkmoor {

LARKMOOR_RECORD(PurgeProgress, (Int, daysRemaining), (std::optional<Int>, bytesRemaining),
                (std::vector<std::string>, skipped))

LARKMOOR_RECORD(FrameStats, (Int, screenshots), (std::optional<Int>, bytes), (std::optional<PurgeProgress>, purge))

LARKMOOR_RECORD(ReelStats, (Int, meetings), (Int, bytes))

LARKMOOR_RECORD(DiskUsed, (Int, text), (Int, transcripts), (Int, reel), (std::optional<Int>, frames))

LARKMOOR_RECORD(GrantRow, (std::string, kind), (std::string, state), (std::string, displayName))

LARKMOOR_RECORD(GrantsAnswer, (std::vector<GrantRow>, grants))

}  // namespace larkmoor
