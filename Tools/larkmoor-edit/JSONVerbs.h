// What the tool does with a JSON document.
#pragma once

#include <span>

#include "Verb.h"

namespace larkmoor::edit {

std::span<const Verb> jsonVerbs();

}  // namespace larkmoor::edit
