// Which project folders Cursor has opened, read from its own store of workspaces. Only reads, and leaves out what
// cannot be read.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "LarkmoorConnectors/Cursor/CursorPaths.h"
#include "LarkmoorConnectors/Framework/Inventory.h"

namespace larkmoor::CursorInventory {

/// Newest activity first. The note tells how many workspaces are of no local folder.
ProjectReport projects(const CursorPaths& paths);

/// The folder that a workspace's file names; nullopt if it names none on this machine, as for several roots at once or
/// a remote folder.
std::optional<std::string> folderPath(const std::string& in);

/// The newest modification date of what is directly in the folder; the folder's own if nothing there has one
/// or it cannot be listed.
std::chrono::system_clock::time_point lastActivity(const std::string& in);

}  // namespace larkmoor::CursorInventory
