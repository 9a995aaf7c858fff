// A point in the traffic of a bus.
#pragma once

#include <gtest/gtest.h>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {

/// Asks the bus itself, which answers in order: what `bus` sent before has reached its receivers' queues when this
/// returns, and what others had sent to it was handled here.
inline void settle(MainLoop& loop, SessionBus& bus) {
    const auto question = bus.methodCall("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId");
    EXPECT_TRUE(runTask(loop, bus.call(question)).value().has_value());
}

}  // namespace larkmoor::testing
