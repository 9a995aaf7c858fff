// A run of refusals by the daemon: nothing, then counting, then reported. Any other answer starts it over.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

#include "LarkmoorKit/Door/DoorFault.h"

namespace larkmoor {

struct RefusalRun {
    using Time = std::chrono::system_clock::time_point;

    std::optional<Time> refusedSince;
    bool reportedRefusal = false;

    /// The line for the platform's log, written once in a run.
    static constexpr std::string_view line =
        "[larkmoor-menu] the daemon has been up and refusing this connection for 45s — it is judging this process's "
        "code "
        "identity, which no reconnect can change. This menu must be restarted to talk to it again (m:227).";

    /// Takes the fault of one refresh; true if the line is due now.
    [[nodiscard]] bool note(std::optional<DoorFault> fault, Time now);
};

}  // namespace larkmoor
