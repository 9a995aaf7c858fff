// Whether updates install by themselves: the settings application writes it where the menu's updater reads it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "LarkmoorPlatform/UserDefaults.h"

namespace larkmoor::UpdateOptIn {

inline constexpr const char* key = "SUAutomaticallyUpdate";

/// Opens a suite by its name; nothing if it cannot be.
using OpenSuite = std::function<std::shared_ptr<UserDefaults>(const std::string& suite)>;

/// Stores the choice in the menu's own suite. A suite that cannot be opened or written is ignored.
void write(bool value, const std::string& menubarID, const OpenSuite& open);

}  // namespace larkmoor::UpdateOptIn
