// The answer side of the contract: the cases are in GatewayResponse.inc.
#pragma once

#include "LarkmoorWire/Catalogue/Cards.h"
#include "LarkmoorWire/Catalogue/Days.h"
#include "LarkmoorWire/Catalogue/Meetings.h"
#include "LarkmoorWire/Catalogue/Mods.h"
#include "LarkmoorWire/Catalogue/Rules.h"
#include "LarkmoorWire/Catalogue/Screens.h"
#include "LarkmoorWire/Catalogue/Shortcuts.h"
#include "LarkmoorWire/Catalogue/Storage.h"
#include "LarkmoorWire/Catalogue/TextBrowse.h"
#include "LarkmoorWire/Codec/DefinesVariants.h"

namespace larkmoor {

#define LARKMOOR_VARIANT GatewayResponse
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/GatewayResponse.inc"
#include "LarkmoorWire/Codec/DefineVariant.inc"

}  // namespace larkmoor
