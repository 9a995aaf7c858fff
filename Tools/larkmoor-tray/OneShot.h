// The commands that a script gives. They print to standard output, and complaints to standard error.
#pragma once

#include "Changes.h"
#include "CommandLine.h"
#include "TrayHost.h"

namespace larkmoor::tray {

/// Runs the command to its end; the exit status. Host and changes outlive it.
Task<int> runOneShot(CommandLine command, TrayHost& host, Changes& changes);

}  // namespace larkmoor::tray
