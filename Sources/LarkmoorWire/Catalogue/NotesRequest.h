// Requests about the notes that agents keep: the cases are in NotesRequest.inc.
#pragma once

#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/Filters.h"

namespace larkmoor {

#define LARKMOOR_VARIANT NotesRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/NotesRequest.inc"
#include "LarkmoorBase/DefineVariant.inc"

}  // namespace larkmoor
