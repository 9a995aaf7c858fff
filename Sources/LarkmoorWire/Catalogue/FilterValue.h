// The value of a filter: a text, a number or a truth, written as the bare JSON scalar.
#pragma once

#include "LarkmoorWire/Codec/DefinesVariants.h"

namespace larkmoor {

#define LARKMOOR_VARIANT FilterValue
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/FilterValue.inc"
#include "LarkmoorWire/Codec/DefineVariant.inc"

}  // namespace larkmoor
