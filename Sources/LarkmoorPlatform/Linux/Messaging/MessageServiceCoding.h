// The message service on the session bus: its names, and the encoding of its messages.
#pragma once

#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"
#include "LarkmoorPlatform/MessageConnection.h"

/// The service's own name is its well-known name on the bus.
namespace larkmoor::MessageServiceNames {

inline constexpr const char* objectPath = "/tools/fenwright/larkmoor/gateway";
inline constexpr const char* interface = "tools.fenwright.larkmoor.Gateway";
/// Method, a{sv} -> a{sv}.
inline constexpr const char* request = "Request";
/// Method, a{sv}, without a reply; the caller receives events from then on.
inline constexpr const char* subscribe = "Subscribe";
/// Signal, a{sv}, sent to one subscriber.
inline constexpr const char* event = "Event";

}  // namespace larkmoor::MessageServiceNames

namespace larkmoor::MessageServiceCoding {

/// A dictionary with values of the types ay, t, b and ah.
inline constexpr const char* signature = "a{sv}";

/// Appends the dictionary; false if the bus cannot carry it (more than 64 MiB or 16 descriptors, a key that is not
/// UTF-8), and then the message must not be sent. Descriptors are duplicated, which needs a ready connection.
[[nodiscard]] bool write(const MessageDictionary& dictionary, const BusMessage& message);

/// The message's dictionary: values of other types are skipped, and a body of another signature or with more keys than
/// our messages ever have reads as empty. Descriptors are duplicates with close-on-exec.
MessageDictionary read(const BusMessage& message);

}  // namespace larkmoor::MessageServiceCoding
