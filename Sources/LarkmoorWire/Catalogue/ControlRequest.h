// Orders to the daemon: the cases are in ControlRequest.inc.
#pragma once

#include "LarkmoorWire/Codec/DefinesVariants.h"

namespace larkmoor {

#define LARKMOOR_VARIANT ControlRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/ControlRequest.inc"
#include "LarkmoorWire/Codec/DefineVariant.inc"

/// The request's name in log lines and in `unimplemented`: the case's name in snake case. Lives for ever.
std::string_view verb(const ControlRequest& request);

}  // namespace larkmoor
