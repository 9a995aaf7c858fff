// What the stand-in Migrator is to do other than well.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorBase/Record.h"

namespace larkmoor::understudy {

/// What happens at a named point. Without a field, nothing does.
LARKMOOR_RECORD(Trouble, (std::string, at),  // "plan", "latch", "backup", "step 1" and on, "done" or "floor"
                (std::optional<Int>, exit), (std::optional<Int>, signal), (std::optional<bool>, hang),
                (std::optional<Int>, pauseMilliseconds), (std::optional<bool>, child))

LARKMOOR_RECORD(Scenario, (std::optional<std::vector<Trouble>>, troubles),
                (std::optional<std::string>, planOutput),  // in place of the plan, with status 0
                (std::optional<bool>, namesNoBackup),      // makes one, and does not tell
                (std::optional<bool>, losesBackup),        // removes it after the last step
                (std::optional<std::string>, statedSize))  // in place of the backup's size

}  // namespace larkmoor::understudy
