// Questions to the daemon: the cases are in ReadRequest.inc.
#pragma once

#include "LarkmoorWire/Catalogue/Filters.h"
#include "LarkmoorWire/Catalogue/Screens.h"
#include "LarkmoorWire/Codec/DefinesVariants.h"

namespace larkmoor {

#define LARKMOOR_VARIANT ReadRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/ReadRequest.inc"
#include "LarkmoorWire/Codec/DefineVariant.inc"

}  // namespace larkmoor
