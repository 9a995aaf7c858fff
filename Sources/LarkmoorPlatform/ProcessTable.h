// What the system's process table says of one process.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>

namespace larkmoor::ProcessTable {

/// When the process began, in microseconds of the real-time clock, the same for every asker until the next boot even if
/// the clock is set meanwhile. Nothing for a process that is not there.
std::optional<std::chrono::system_clock::time_point> start(pid_t process);

}  // namespace larkmoor::ProcessTable
