// What the tool does with a TOML document.
#pragma once

#include <span>

#include "Verb.h"

namespace larkmoor::edit {

std::span<const Verb> tomlVerbs();

}  // namespace larkmoor::edit
