// What a shortcut puts into an agent's prompt.
#pragma once

#include "LarkmoorBase/Record.h"

namespace larkmoor {

#define LARKMOOR_VARIANT ShortcutInjection
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/ShortcutInjection.inc"
#include "LarkmoorBase/DefineVariant.inc"

LARKMOOR_RECORD(ShortcutCard, (std::string, scope), (Int, moments), (Int, memories), (Int, meetings),
                (std::optional<std::string>, version), (std::optional<std::string>, build))

LARKMOOR_RECORD(ShortcutDetail, (std::string, name), (std::optional<std::string>, when), (std::string, body),
                (Int, duplicates))

LARKMOOR_RECORD(ShortcutRow, (std::string, name), (std::string, when), (Int, duplicates))

}  // namespace larkmoor
