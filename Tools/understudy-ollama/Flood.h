// A very long answer at full speed.
#pragma once

#include "Connection.h"

namespace larkmoor::modelhost {

/// Writes at least `fault.size` bytes of lines that report progress, and the line of success.
void flood(Connection& connection, const Fault& fault);

}  // namespace larkmoor::modelhost
