// A message's dictionary as the bus carries it: a{sv} with the values ay, t, b and ah.
#pragma once

#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"
#include "LarkmoorPlatform/MessageDictionary.h"

namespace larkmoor::MessageServiceCoding {

inline constexpr const char* signature = "a{sv}";

/// Appends the dictionary; false if the bus cannot carry it (more than 64 MiB or 16 descriptors, a key that is no
/// text), and then the message must not be sent. Descriptors are duplicated, and need a connection that stands.
[[nodiscard]] bool write(const MessageDictionary& dictionary, const BusMessage& message);

/// What of the body is ours: a value of another type is absent, and a body of another shape, or with more keys than any
/// message of ours has, is empty. Descriptors are the dictionary's own, closed on exec.
MessageDictionary read(const BusMessage& message);

}  // namespace larkmoor::MessageServiceCoding
