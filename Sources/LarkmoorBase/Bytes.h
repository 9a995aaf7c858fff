// Bytes are bytes and text is text: these say where one is read as the other, without a copy where none is needed.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace larkmoor {

using Bytes = std::vector<std::byte>;
using BytesView = std::span<const std::byte>;

/// The same bytes seen as characters; valid as long as `bytes` is. Nothing is checked: the result may be no UTF-8.
inline std::string_view asText(BytesView bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

/// The same characters seen as bytes; valid as long as `text` is.
inline BytesView asBytes(std::string_view text) { return std::as_bytes(std::span{text.data(), text.size()}); }

inline Bytes copyBytes(BytesView bytes) { return {bytes.begin(), bytes.end()}; }
inline Bytes copyBytes(std::string_view text) { return copyBytes(asBytes(text)); }

}  // namespace larkmoor
