// A descriptor that stands for one process, and for no later one with the same number.
#pragma once

#include <sys/types.h>

// The C library's header does not say by itself that its functions are C.
extern "C" {
#include <sys/pidfd.h>
}

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor {

/// Readable once the process has ended; none if it is gone already, with errno set. Closed on exec.
inline FileDescriptor processDescriptor(pid_t process) { return FileDescriptor{::pidfd_open(process, 0)}; }

}  // namespace larkmoor
