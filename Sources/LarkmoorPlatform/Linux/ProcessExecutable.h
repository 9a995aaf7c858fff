// The file that a process runs, as /proc tells it.
#pragma once

#include <optional>
#include <string>

namespace larkmoor {

/// `process` is a number, or "self". The path that the file had when the process began, even if it was removed or
/// replaced since; nothing for a process that is gone, or of which the system will not say.
std::optional<std::string> processExecutable(const std::string& process);

}  // namespace larkmoor
