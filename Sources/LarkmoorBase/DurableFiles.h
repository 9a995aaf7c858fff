// Files whose content, and folders whose names, outlast a loss of power once the call has returned. Blocks; any thread.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <expected>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor::DurableFiles {

/// Copies a regular file, which may not be a link, to a new file with `mode` less the umask; its size in bytes. An
/// existing target stays and is the failure EEXIST; on any other failure nothing is left behind.
std::expected<std::uint64_t, FileError> copy(const std::string& from, const std::string& to, mode_t mode);

/// As `Files::create`, and on the disk.
std::expected<void, FileError> create(const std::string& path, BytesView bytes, mode_t mode);

/// Waits until the names in the folder are on the disk. A file system that cannot do that is not an error.
std::expected<void, FileError> syncFolder(const std::string& folder);

}  // namespace larkmoor::DurableFiles
