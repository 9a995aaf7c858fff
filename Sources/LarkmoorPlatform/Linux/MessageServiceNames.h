// How the message service is spelled on the session bus. The service's name is its well-known name there.
#pragma once

namespace larkmoor::MessageServiceNames {

inline constexpr const char* objectPath = "/tools/fenwright/larkmoor/gateway";
inline constexpr const char* interface = "tools.fenwright.larkmoor.Gateway";
/// a{sv} -> a{sv}
inline constexpr const char* request = "Request";
/// a{sv}, answered by nothing; whoever calls it gets the events.
inline constexpr const char* subscribe = "Subscribe";
/// The signal a{sv}, sent to one subscriber.
inline constexpr const char* event = "Event";

}  // namespace larkmoor::MessageServiceNames
