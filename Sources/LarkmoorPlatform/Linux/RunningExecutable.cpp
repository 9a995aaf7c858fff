#include "LarkmoorPlatform/RunningExecutable.h"

#include "LarkmoorPlatform/Linux/ProcessExecutable.h"

namespace larkmoor {

std::optional<std::string> runningExecutable() { return processExecutable("self"); }

}  // namespace larkmoor
