// What the menu shows of the local models' setup.
#pragma once

#include <optional>

#include "LarkmoorKit/Menu/MenuLine.h"
#include "LarkmoorKit/Models/LocalModelsProgress.h"

namespace larkmoor::LocalModelsMenuLine {

/// nullopt unless a living writer is at work on a download. The bar is filled only if the size of every download is
/// known.
std::optional<MenuLine> line(const std::optional<LocalModelsProgress>& progress, bool writerAlive);

/// Asks the system whether the writer lives.
std::optional<MenuLine> line(const std::optional<LocalModelsProgress>& progress);

}  // namespace larkmoor::LocalModelsMenuLine
