// Synchronisation with the traffic on a bus.
#pragma once

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {

/// Calls the bus itself, which handles messages in order: when this returns, everything that `bus` had sent has reached
/// its receivers' queues, and everything that had been sent to it was handled.
inline void settle(MainLoop& loop, SessionBus& bus) {
    const auto question = bus.methodCall("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId");
    EXPECT_TRUE(runTask(loop, bus.call(question)).value().has_value());
}

}  // namespace larkmoor::testing
