// How a configuration file ends its lines, and so how an edit ends those that it adds.
#pragma once

#include <string_view>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor {

/// Carriage return plus line feed if that pair occurs anywhere in the file, otherwise a line feed.
inline std::string_view lineEnding(BytesView document) { return asText(document).contains("\r\n") ? "\r\n" : "\n"; }

}  // namespace larkmoor
