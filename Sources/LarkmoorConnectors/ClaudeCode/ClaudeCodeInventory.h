// What Claude Code keeps on this machine: its projects, as folders named after their paths, and its memory files. Only
// reads, and leaves out what cannot be read.
#pragma once

#include <string>
#include <string_view>

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodePaths.h"
#include "LarkmoorConnectors/Framework/Inventory.h"

namespace larkmoor::ClaudeCodeInventory {

/// Newest activity first.
ProjectReport projects(const ClaudeCodePaths& paths);

MemoryFileReport memoryFiles(const ClaudeCodePaths& paths);

/// Decodes a folder's name, in which "-" replaces every "/" of a path. Since the path may contain "-" itself, the files
/// on disk decide which reading is right; if no reading exists, the returned text says so.
std::string decodeProjectPath(std::string_view name);

}  // namespace larkmoor::ClaudeCodeInventory
