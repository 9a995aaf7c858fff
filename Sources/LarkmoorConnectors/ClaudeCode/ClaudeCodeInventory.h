// What Claude Code knows on this machine: its projects, by folders named after their paths, and its memory files. Only
// reads, and leaves out what does not read.
#pragma once

#include <string>
#include <string_view>

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodePaths.h"
#include "LarkmoorConnectors/Framework/Inventory.h"

namespace larkmoor::ClaudeCodeInventory {

/// The newest activity first.
ProjectReport projects(const ClaudeCodePaths& paths);

MemoryFileReport memoryFiles(const ClaudeCodePaths& paths);

/// The path that the folder's name was made of, every "/" turned into "-". That is worked out against the disk, since a
/// "-" of the path's own looks the same; a path that is not there says so.
std::string decodeProjectPath(std::string_view name);

}  // namespace larkmoor::ClaudeCodeInventory
