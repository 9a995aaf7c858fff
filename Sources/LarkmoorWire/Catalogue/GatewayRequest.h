// The request side of the contract.
#pragma once

#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/ControlRequest.h"
#include "LarkmoorWire/Catalogue/DiagnosticRequest.h"
#include "LarkmoorWire/Catalogue/NotesRequest.h"
#include "LarkmoorWire/Catalogue/ReadRequest.h"

namespace larkmoor {

#define LARKMOOR_VARIANT GatewayRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/GatewayRequest.inc"
#include "LarkmoorBase/DefineVariant.inc"

}  // namespace larkmoor
