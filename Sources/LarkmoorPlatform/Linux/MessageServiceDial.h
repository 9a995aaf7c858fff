// Dialling a service on the session bus.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/MessageService.h"

namespace larkmoor {

/// Connections of which each has the bus to itself: it opens it at its first message, so that a peer's fault or flood
/// ends that channel alone. Without an address it is the session's bus; `loop` outlives every connection.
Dial sessionBusDial(MainLoop& loop, std::optional<std::string> address = std::nullopt);

}  // namespace larkmoor
