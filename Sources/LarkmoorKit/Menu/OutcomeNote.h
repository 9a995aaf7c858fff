// What the daemon's log is told of the answer to a control request.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorWire/Catalogue/GatewayResponse.h"

namespace larkmoor {

/// Nothing for `ok`; `verb` is the request's name.
std::optional<std::string> outcomeNote(std::string_view verb, const GatewayResponse& answer);

}  // namespace larkmoor
