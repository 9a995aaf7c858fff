// The daemon's side of the contract: answers, whose cases are in GatewayResponse.inc, and pushed events.
#pragma once

#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/Cards.h"
#include "LarkmoorWire/Catalogue/Days.h"
#include "LarkmoorWire/Catalogue/Recording.h"
#include "LarkmoorWire/Catalogue/Scopes.h"

namespace larkmoor {

#define LARKMOOR_VARIANT GatewayResponse
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/GatewayResponse.inc"
#define LARKMOOR_COMPILED_ONCE
#include "LarkmoorBase/DefineVariant.inc"

/// What the daemon pushes without being asked.
#define LARKMOOR_VARIANT GatewayEvent
#define LARKMOOR_CASE_LIST LARKMOOR_CASE(FrontState, frontState, (FrontRecording, _0))
#include "LarkmoorBase/DefineVariant.inc"

}  // namespace larkmoor
