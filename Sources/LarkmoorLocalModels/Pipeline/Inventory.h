// What a model store holds before the setup uses it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorKit/Models/LocalModelsProgress.h"

namespace larkmoor::Inventory {

/// A model's name as a person writes it, from its manifest's path below `manifests`: without the registry and the
/// namespace that stand where none is written, and without the tag "latest".
std::string modelName(std::string_view manifestPath);

/// With the models that the store's host lists, by whose names "latest" may stand.
void add(std::vector<std::string> listed, LocalModelsProgress::OllamaInventory& to);

/// Of the store at `folder`, which need not exist. Blocks; any thread.
LocalModelsProgress::OllamaInventory take(const std::string& folder);

}  // namespace larkmoor::Inventory
