// The request side of the contract.
#pragma once

#include "LarkmoorWire/Catalogue/ControlRequest.h"
#include "LarkmoorWire/Catalogue/DiagnosticRequest.h"
#include "LarkmoorWire/Catalogue/NotesRequest.h"
#include "LarkmoorWire/Catalogue/ReadRequest.h"
#include "LarkmoorWire/Codec/DefinesVariants.h"

namespace larkmoor {

#define LARKMOOR_VARIANT GatewayRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/GatewayRequest.inc"
#include "LarkmoorWire/Codec/DefineVariant.inc"

}  // namespace larkmoor
