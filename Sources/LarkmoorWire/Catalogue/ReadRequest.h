// Questions to the daemon: the cases are in ReadRequest.inc.
#pragma once

#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/Filters.h"
#include "LarkmoorWire/Catalogue/Screens.h"

namespace larkmoor {

#define LARKMOOR_VARIANT ReadRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/ReadRequest.inc"
#include "LarkmoorBase/DefineVariant.inc"

}  // namespace larkmoor
