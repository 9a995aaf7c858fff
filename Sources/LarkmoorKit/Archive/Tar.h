// The system's tar, on archives that come from elsewhere. Main thread.
#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor::Tar {

inline constexpr const char* program = "/usr/bin/tar";

/// As ours, but in the C locale and without the options that tar and gzip take from it.
ProcessEnvironment environment();

/// Why the archive must not be unpacked, in words: what tar says of one that is broken, or what ArchiveListing objects
/// to; nullopt if there is nothing. `compression` is tar's option, "" to let tar find out. A stop is "cancelled".
Task<std::optional<std::string>> objection(ProcessRunner& runner, std::string archive, std::string compression,
                                           std::stop_token stop);

/// The arguments that unpack the whole archive into the folder, for nobody in particular. With `keepsModes` the umask
/// does not count.
std::vector<std::string> unpacking(const std::string& archive, const std::string& compression,
                                   const std::string& folder, bool keepsModes);

}  // namespace larkmoor::Tar
