// The value of a filter: a text, a number or a truth, written as the bare JSON scalar.
#pragma once

#include "LarkmoorBase/Record.h"

namespace larkmoor {

#define LARKMOOR_VARIANT FilterValue
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/FilterValue.inc"
#include "LarkmoorBase/DefineVariant.inc"

}  // namespace larkmoor
