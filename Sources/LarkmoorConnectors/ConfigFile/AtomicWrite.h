// Replaces a file in one step: whoever reads meanwhile, or is killed, finds the old bytes or the new ones. That is all:
// nothing is flushed to the disk, and of the old file only the permission bits are carried over.
#pragma once

#include <sys/types.h>

#include <expected>
#include <functional>
#include <optional>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/ConfigFileError.h"

namespace larkmoor::AtomicWrite {

/// `beforeRename`, if any, runs with the temporary file complete and the target not yet replaced. A process that dies
/// at that time leaves a file ".{name}.larkmoor-{UUID}.tmp" beside the target; a failure leaves nothing. A file that
/// was not there gets `modeIfNew`, or the default permissions.
std::expected<void, ConfigFileError> write(BytesView bytes, const std::string& path,
                                           const std::function<void()>& beforeRename = {},
                                           std::optional<mode_t> modeIfNew = std::nullopt);

}  // namespace larkmoor::AtomicWrite
