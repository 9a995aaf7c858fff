// SHA-256 by the system's own tool: the first digest of a library costs a resident program 0.6 MB, and here one is
// needed at each launch.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// In lower-case hexadecimal, 64 digits; nothing if the tool cannot be run. `runner` outlives the task.
Task<std::optional<std::string>> sha256(ProcessRunner& runner, Bytes bytes);

}  // namespace larkmoor
