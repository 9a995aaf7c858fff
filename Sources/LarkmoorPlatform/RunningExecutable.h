// Which file this process runs.
#pragma once

#include <optional>
#include <string>

namespace larkmoor {

/// The absolute path of the running executable, as it was when the process began; nothing if the system will not say.
std::optional<std::string> runningExecutable();

}  // namespace larkmoor
