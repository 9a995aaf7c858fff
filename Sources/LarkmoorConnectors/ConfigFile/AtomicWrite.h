// Replaces a file in one step: whoever reads meanwhile, or is killed, finds the old bytes or the new ones. That is all:
// nothing is flushed to the disk, and of the old file only the permission bits are carried over.
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

namespace larkmoor::AtomicWrite {

/// `beforeRename`, if any, runs with the temporary file complete and the target not yet replaced. A process that dies
/// at that time leaves a file ".{name}.larkmoor-{UUID}.tmp" beside the target; a failure leaves nothing. A file that
/// was not there gets `modeIfNew`, or the default permissions.
std::expected<void, ConfigFileError> write(BytesView bytes, const std::string& path,
                                           const std::function<void()>& beforeRename = {},
                                           std::optional<mode_t> modeIfNew = std::nullopt);

}  // namespace larkmoor::AtomicWrite

namespace larkmoor::Backup {

// The copies that lie beside a configuration file: "{name}.larkmoor-backup-{stamp}".
/// Copies the file, with its permission bits, and reads the copy back; the copy's path, or nothing if the file cannot
/// be read. The stamp is `at` in the current time zone; a second copy in that second gets "-02" and so on.
std::expected<std::optional<std::string>, ConfigFileError> make(const std::string& of,
                                                                std::chrono::system_clock::time_point at);

/// The paths of this file's copies, oldest first.
std::vector<std::string> all(const std::string& of);

/// Removes all but the newest two; the paths removed. What cannot be removed is passed over.
std::vector<std::string> prune(const std::string& of);

}  // namespace larkmoor::Backup
