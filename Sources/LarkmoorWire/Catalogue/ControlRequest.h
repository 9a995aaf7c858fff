// Orders to the daemon: the cases are in ControlRequest.inc.
#pragma once

#include "LarkmoorBase/Record.h"

namespace larkmoor {

#define LARKMOOR_VARIANT ControlRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/ControlRequest.inc"
#include "LarkmoorBase/DefineVariant.inc"

/// The request's name in log lines and in `unimplemented`: the case's name in snake case. Lives for ever.
std::string_view verb(const ControlRequest& request);

}  // namespace larkmoor
