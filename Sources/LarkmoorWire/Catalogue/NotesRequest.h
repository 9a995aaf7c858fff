// Requests about the notes that agents keep: the cases are in NotesRequest.inc.
#pragma once

#include "LarkmoorWire/Catalogue/Filters.h"
#include "LarkmoorWire/Codec/DefinesVariants.h"

namespace larkmoor {

#define LARKMOOR_VARIANT NotesRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/NotesRequest.inc"
#include "LarkmoorWire/Codec/DefineVariant.inc"

}  // namespace larkmoor
