// The answer side of the contract: the cases are in GatewayResponse.inc.
#pragma once

#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/Cards.h"
#include "LarkmoorWire/Catalogue/Days.h"
#include "LarkmoorWire/Catalogue/Meetings.h"
#include "LarkmoorWire/Catalogue/Mods.h"
#include "LarkmoorWire/Catalogue/Rules.h"
#include "LarkmoorWire/Catalogue/Screens.h"
#include "LarkmoorWire/Catalogue/Shortcuts.h"
#include "LarkmoorWire/Catalogue/Storage.h"
#include "LarkmoorWire/Catalogue/TextBrowse.h"

namespace larkmoor {

#define LARKMOOR_VARIANT GatewayResponse
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/GatewayResponse.inc"
#include "LarkmoorBase/DefineVariant.inc"

}  // namespace larkmoor
