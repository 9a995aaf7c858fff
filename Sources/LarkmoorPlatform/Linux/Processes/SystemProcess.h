// One process of the system: its descriptor, its executable and its start.
#pragma once

#include <sys/types.h>

// The header of the C library does not declare its functions as C.
extern "C" {
#include <sys/pidfd.h>
}

#include <cstdint>
#include <optional>
#include <string>

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor {

/// A pidfd, which never refers to a later process with the same id. Readable once the process has ended; invalid if it
/// is gone already, with errno set. Close-on-exec.
inline FileDescriptor processDescriptor(pid_t process) { return FileDescriptor{::pidfd_open(process, 0)}; }

/// The executable's path from /proc, even if the file was removed or replaced since. `process` is a process id or
/// "self". Nothing for a process that is gone or that the system does not let us inspect.
std::optional<std::string> processExecutable(const std::string& process);

/// When the process started, in clock ticks since the boot; the same for as long as it lives. Nothing for a process
/// that is gone.
std::optional<std::uint64_t> processStart(const std::string& process);

}  // namespace larkmoor
