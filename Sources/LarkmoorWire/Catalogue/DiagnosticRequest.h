// Lines for the daemon's log: the cases are in DiagnosticRequest.inc.
#pragma once

#include "LarkmoorWire/Codec/DefinesVariants.h"

namespace larkmoor {

#define LARKMOOR_VARIANT DiagnosticRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/DiagnosticRequest.inc"
#include "LarkmoorWire/Codec/DefineVariant.inc"

}  // namespace larkmoor
