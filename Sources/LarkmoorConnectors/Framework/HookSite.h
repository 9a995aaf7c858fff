// A hook entry that is ours, and where it stands. Its indices belong to the very bytes that were scanned.
#pragma once

#include <cstdint>
#include <string>

#include "LarkmoorConnectors/Framework/HookOwnership.h"

namespace larkmoor {

struct HookSite {
    std::string event;       ///< the member of `hooks` that it stands under
    std::int64_t group = 0;  ///< the index in that event's array; 0 where entries stand in it without groups
    std::int64_t entry = 0;  ///< the index in the group's `hooks` array, or else in the event's
    std::string command;
    HookOwnership tier = HookOwnership::stale;

    bool operator==(const HookSite&) const = default;
};

}  // namespace larkmoor
