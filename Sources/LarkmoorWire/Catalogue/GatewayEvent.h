// The pushed side of the contract: the cases are in GatewayEvent.inc.
#pragma once

#include "LarkmoorWire/Catalogue/Screens.h"
#include "LarkmoorWire/Codec/DefinesVariants.h"

namespace larkmoor {

#define LARKMOOR_VARIANT GatewayEvent
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/GatewayEvent.inc"
#include "LarkmoorWire/Codec/DefineVariant.inc"

}  // namespace larkmoor
