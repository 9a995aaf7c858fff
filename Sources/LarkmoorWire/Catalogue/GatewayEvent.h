// The pushed side of the contract: the cases are in GatewayEvent.inc.
#pragma once

#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/Screens.h"

namespace larkmoor {

#define LARKMOOR_VARIANT GatewayEvent
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/GatewayEvent.inc"
#include "LarkmoorBase/DefineVariant.inc"

}  // namespace larkmoor
