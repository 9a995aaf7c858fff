// Apple property lists, XML or binary, read into plain values.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorPlatform/Bytes.h"

namespace larkmoor::PropertyList {

/// The text under `key` of a property list whose root is a dictionary; nothing if it is no such list, or holds no text
/// there.
std::optional<std::string> textUnder(BytesView document, std::string_view key);

}  // namespace larkmoor::PropertyList
