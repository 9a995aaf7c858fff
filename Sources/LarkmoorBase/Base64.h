// Base64 with the standard alphabet and padding (RFC 4648, section 4), as the wire carries raw bytes.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor::Base64 {

std::string encode(BytesView bytes);

/// Nothing for any other character, a missing or misplaced padding, or bits set beyond the last byte.
std::optional<Bytes> decode(std::string_view text);

}  // namespace larkmoor::Base64
