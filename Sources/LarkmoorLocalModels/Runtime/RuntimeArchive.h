// Unpacks the runtime's archive, once it is proven to be the pinned one.
//
// tar unpacks into a folder of its own inside the target, and what came out is moved from there by renames: a full
// disk, or a kill of tar, leaves an old runtime as it was, and whatever removes the runtime's folder removes the rest
// of a killed unpacking, too. A kill between the renames leaves a mixture, which does not verify: the proof of the old
// executable goes before the first rename, and that of the new one comes after the last.
#pragma once

#include <expected>
#include <functional>
#include <stop_token>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorLocalModels/Pipeline/Transfer.h"
#include "LarkmoorLocalModels/Runtime/RuntimeRelease.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// An error where a download would be in vain, since behind a link to the folder of `binary` the user has a file by a
/// name of ours. Blocks.
std::expected<void, SetupError> mayUnpack(const std::string& binary, const RuntimeRelease& release);

/// Unpacks into the folder of `binary`, which is made with mode 0700, and proves `binary`; an executable that the
/// archive has elsewhere is reached from there by a relative link. An archive without the executable is no error, and
/// proves nothing. Where the folder is reached by a link nothing of the user's in it is replaced, and what came is
/// written down in the proof. An archive of another fingerprint is deleted. After an error nothing of the archive is
/// left, unless it came amid the renames; then what is there is not proven, and the next unpacking replaces it. Main
/// thread; its slow work runs elsewhere.
Task<std::expected<void, SetupError>> unpackPinned(ProcessRunner& runner, std::string archive, std::string binary,
                                                   RuntimeRelease release, std::stop_token stop = {});

/// Removes what a killed unpacking left in the folder of `binary`. Failures are ignored; blocks.
void removeUnfinishedUnpacking(const std::string& binary);

}  // namespace larkmoor
