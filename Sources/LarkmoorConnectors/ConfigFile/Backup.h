// The copies that lie beside a configuration file: "{name}.larkmoor-backup-{stamp}".
#pragma once

#include <chrono>
#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/ConfigFileError.h"

namespace larkmoor::Backup {

/// Copies the file, with its permission bits, and reads the copy back; the copy's path, or nothing if the file cannot
/// be read. The stamp is `at` in the current time zone; a second copy in that second gets "-02" and so on.
std::expected<std::optional<std::string>, ConfigFileError> make(const std::string& of,
                                                                std::chrono::system_clock::time_point at);

/// The paths of this file's copies, oldest first.
std::vector<std::string> all(const std::string& of);

/// Removes all but the newest two; the paths removed. What cannot be removed is passed over.
std::vector<std::string> prune(const std::string& of);

}  // namespace larkmoor::Backup
