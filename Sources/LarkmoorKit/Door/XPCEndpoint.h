// Where the daemon is found, and the keys of the dictionaries that it exchanges.
#pragma once

#include <string_view>

#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor::XPCEndpoint {

inline constexpr std::string_view machServiceName = ClientInstance::gatewayID;

/// Request and reply: the JSON document.
inline constexpr std::string_view payloadKey = "payload";
/// Request, knock and reply: the number of the sender's contract.
inline constexpr std::string_view wireKey = "wire";
/// Reply: milliseconds that the daemon spent serving, when it says so.
inline constexpr std::string_view servedKey = "served_ms";
/// The one message that opens a subscription.
inline constexpr std::string_view subscribeKey = "subscribe";
/// Pushed event: the JSON document.
inline constexpr std::string_view eventKey = "event";

}  // namespace larkmoor::XPCEndpoint
