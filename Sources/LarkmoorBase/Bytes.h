// Bytes and text: bytes seen as characters and characters as bytes, without a copy, and base64.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace larkmoor {

using Bytes = std::vector<std::byte>;
using BytesView = std::span<const std::byte>;

/// The same bytes seen as characters; valid as long as `bytes` is. Nothing is checked: the result may not be UTF-8.
inline std::string_view asText(BytesView bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

/// The same characters seen as bytes; valid as long as `text` is.
inline BytesView asBytes(std::string_view text) { return std::as_bytes(std::span{text.data(), text.size()}); }

inline Bytes copyBytes(BytesView bytes) { return {bytes.begin(), bytes.end()}; }
inline Bytes copyBytes(std::string_view text) { return copyBytes(asBytes(text)); }

/// Base64 with the standard alphabet and padding (RFC 4648, section 4).
namespace Base64 {

std::string encode(BytesView bytes);

/// nullopt for any other character, missing or misplaced padding, or bits set beyond the last byte.
std::optional<Bytes> decode(std::string_view text);

}  // namespace Base64

}  // namespace larkmoor
