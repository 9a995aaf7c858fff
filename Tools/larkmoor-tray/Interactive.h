// The tray in a terminal: draws at each change, and does what the keys say.
#pragma once

#include "Changes.h"
#include "TrayHost.h"

namespace larkmoor::tray {

/// Until the person quits; the exit status. Host and changes outlive it.
Task<int> runInteractive(MainLoop& loop, TrayHost& host, Changes& changes);

}  // namespace larkmoor::tray
