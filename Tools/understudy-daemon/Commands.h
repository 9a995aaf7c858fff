// The commands that direct the stand-in over the bus.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>

#include "LarkmoorPlatform/Linux/Bus/BusValues.h"

namespace larkmoor::understudy {

class DaemonServer;

struct Command {
    const char* name;
    const char* takes;  ///< signatures of the bus
    const char* gives;
    const char* help;
    /// Returns an error message, or nothing.
    std::function<std::optional<std::string>(DaemonServer&, BusReader&, BusWriter&)> run;
};

/// With static storage.
std::span<const Command> allCommands();

}  // namespace larkmoor::understudy
