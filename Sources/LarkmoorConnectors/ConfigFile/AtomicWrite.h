// Writing and copying one file of another application.
#pragma once

#include <sys/types.h>
#include <chrono>
#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

namespace larkmoor {

namespace AtomicWrite {

/// Replaces the file atomically (write, then rename): a reader sees the old or the new content, even if this process is
/// killed meanwhile. Nothing is flushed to the disk, and only the permission bits of the old file are kept.
///
/// `beforeRename`, if any, runs when the temporary file is complete and the target not yet replaced. A process that
/// dies there leaves a file ".{name}.larkmoor-{UUID}.tmp" beside the target; an error leaves nothing. A new file gets
/// `modeIfNew`, or the default permissions.
std::expected<void, ConfigFileError> write(BytesView bytes, const std::string& path,
                                           const std::function<void()>& beforeRename = {},
                                           std::optional<mode_t> modeIfNew = std::nullopt);

}  // namespace AtomicWrite

/// The copies beside a file, named "{name}.larkmoor-backup-{stamp}".
namespace Backup {

/// Copies the file, with its permission bits, and reads the copy back; returns the copy's path, or nullopt if the file
/// cannot be read. The stamp is `at` in the current time zone; a second copy in that second gets "-02" and so on. The
/// copy is later than all others by its time of modification, even if the clock was set back.
std::expected<std::optional<std::string>, ConfigFileError> make(const std::string& of,
                                                                std::chrono::system_clock::time_point at);

/// The paths of the file's copies, oldest first by their times of modification: the stamps of their names run
/// backwards where the time zone changes or summer ends.
std::vector<std::string> all(const std::string& of);

/// Removes all copies but the newest two, and returns the paths removed. `made`, one of them, counts as the newest. A
/// copy that cannot be removed is ignored.
std::vector<std::string> prune(const std::string& of, const std::optional<std::string>& made = std::nullopt);

}  // namespace Backup

}  // namespace larkmoor
