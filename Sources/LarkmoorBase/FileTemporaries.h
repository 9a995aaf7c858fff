// What `Files::replace` leaves beside a file in a process that is killed.
#pragma once

#include <string>

namespace larkmoor::FileTemporaries {

/// Removes the temporary files of `path`, which no other process may be replacing. Failures are ignored; blocks.
void sweep(const std::string& path);

}  // namespace larkmoor::FileTemporaries
