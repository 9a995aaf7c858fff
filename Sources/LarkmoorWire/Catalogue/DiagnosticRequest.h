// Lines for the daemon's log: the cases are in DiagnosticRequest.inc.
#pragma once

#include "LarkmoorBase/Record.h"

namespace larkmoor {

#define LARKMOOR_VARIANT DiagnosticRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/DiagnosticRequest.inc"
#include "LarkmoorBase/DefineVariant.inc"

}  // namespace larkmoor
