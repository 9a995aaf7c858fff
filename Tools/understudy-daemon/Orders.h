// What the understudy can be ordered over the bus.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>

#include "LarkmoorPlatform/Linux/Bus/BusReader.h"
#include "LarkmoorPlatform/Linux/Bus/BusWriter.h"

namespace larkmoor::understudy {

class Stage;

struct Order {
    const char* name;
    const char* takes;  ///< signatures of the bus
    const char* gives;
    const char* help;
    /// Answers with what is wrong with the order, or nothing.
    std::function<std::optional<std::string>(Stage&, BusReader&, BusWriter&)> obey;
};

/// All of them; they live for ever.
std::span<const Order> allOrders();

}  // namespace larkmoor::understudy
