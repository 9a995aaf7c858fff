// Which projects OpenCode has worked in, read from its own store of sessions, and its memory files. Only reads.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorConnectors/Framework/Inventory.h"
#include "LarkmoorConnectors/OpenCode/OpenCodePaths.h"

namespace larkmoor::OpenCodeInventory {

/// Newest activity first. The note tells what of the store could not be read.
ProjectReport projects(const OpenCodePaths& paths);

/// Of OpenCode's configuration, then of the home; those that exist.
MemoryFileReport memoryFiles(const OpenCodePaths& paths);

/// The newest modification date of what is directly in the folder, as a local date like 2024-01-31; nullopt if there is
/// nothing or it cannot be listed.
std::optional<std::string> newestChildDay(const std::string& of);

}  // namespace larkmoor::OpenCodeInventory
