// Reading and writing the outer dictionary of a message.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "LarkmoorPlatform/MessageConnection.h"

namespace larkmoor::XPCWire {

void set(BytesView data, std::string_view key, MessageDictionary& on);
/// The bytes under the key; missing, empty or of another type is nothing. Valid until the dictionary changes.
std::optional<BytesView> data(std::string_view key, const MessageDictionary& from);

/// A negative number is stored as 0.
void setWire(std::int64_t version, MessageDictionary& on);
void setServed(std::int64_t milliseconds, MessageDictionary& on);

/// What a peer says of its contract. A number past the signed range is none that we speak, and reads as the largest.
std::optional<std::int64_t> wireVersion(const MessageDictionary& from);
std::optional<std::chrono::milliseconds> servedDuration(const MessageDictionary& from);

}  // namespace larkmoor::XPCWire
