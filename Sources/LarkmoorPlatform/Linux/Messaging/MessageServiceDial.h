// Connects to the message service over the session bus.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/MessageConnection.h"

namespace larkmoor {

/// Each connection opens a bus connection of its own at its first message, so that a peer that misbehaves or floods
/// ends that connection alone. The default address is the session bus; `loop` outlives every connection.
Dial sessionBusDial(MainLoop& loop, std::optional<std::string> address = std::nullopt);

}  // namespace larkmoor
