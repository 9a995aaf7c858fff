// The envelope of a message: the name of the service, the keys of the dictionary, and functions that read and write
// them.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorPlatform/MessageConnection.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace XPCEndpoint {

/// The daemon's service.
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

}  // namespace XPCEndpoint

namespace XPCWire {

void set(BytesView data, std::string_view key, MessageDictionary& on);
/// The bytes under the key; missing, empty or of another type is nothing. Valid until the dictionary changes.
std::optional<BytesView> data(std::string_view key, const MessageDictionary& from);

/// A negative number is stored as 0.
void setWire(std::int64_t version, MessageDictionary& on);
void setServed(std::int64_t milliseconds, MessageDictionary& on);

/// The sender's protocol version; nullopt if it sends none. A number above INT64_MAX is read as INT64_MAX, which never
/// equals our version.
std::optional<std::int64_t> wireVersion(const MessageDictionary& from);
std::optional<std::chrono::milliseconds> servedDuration(const MessageDictionary& from);

}  // namespace XPCWire

/// Which service the MCP bridge dials.
namespace MCPGatewayName {

/// The environment variable that names another service, for tests.
inline constexpr std::string_view overrideKey = "LARKMOOR_MCP_GATEWAY_FOR_TESTS";
/// What such a name must begin with.
inline constexpr std::string_view testPrefix = "tools.fenwright.larkmoor.test.";

/// The daemon's service, or the test service that `env` names: the prefix and at least one character after it, trimmed.
std::string resolve(const std::map<std::string, std::string>& env);

}  // namespace MCPGatewayName

}  // namespace larkmoor
