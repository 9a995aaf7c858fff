// What Codex keeps on this machine: the projects that its sessions worked in, and its memory files. Only reads, and
// leaves out what cannot be read.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorConnectors/Codex/CodexPaths.h"
#include "LarkmoorConnectors/Framework/Inventory.h"

namespace larkmoor::CodexInventory {

/// Newest activity first. Blocks as long as the disk does: the first line of every session is read.
ProjectReport projects(const CodexPaths& paths);

MemoryFileReport memoryFiles(const CodexPaths& paths);

/// The folder that a session worked in, as the first line of its file names it; nullopt if that does not, or is longer
/// than 256 KiB. No more of the file is read.
std::optional<std::string> sessionCwd(const std::string& of);

}  // namespace larkmoor::CodexInventory
