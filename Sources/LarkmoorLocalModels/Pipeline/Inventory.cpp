#include "LarkmoorLocalModels/Pipeline/Inventory.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "LarkmoorBase/Files.h"
#include "LarkmoorLocalModels/Store/ModelStore.h"

namespace larkmoor::Inventory {

std::string modelName(std::string_view manifestPath) {
    constexpr std::string_view officialNamespace = "library/", latest = "/latest";
    std::string name{manifestPath};
    const std::string registry = fmt::format("{}/", ModelStore::defaultRegistry);
    if (name.starts_with(registry)) {
        name.erase(0, registry.size());
        if (name.starts_with(officialNamespace)) name.erase(0, officialNamespace.size());
    }
    if (name.ends_with(latest)) return name.substr(0, name.size() - latest.size());
    if (const auto tag = name.rfind('/'); tag != std::string::npos) name[tag] = ':';
    return name;
}

LocalModelsProgress::OllamaInventory take(const std::string& folder) {
    const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
    LocalModelsProgress::OllamaInventory inventory{
        .folder = folder, .folderExisted = Files::exists(folder), .takenAt = now.count()};
    const std::string manifests = folder + "/manifests/";
    for (const std::string& path : ModelStore::manifestFiles(folder)) {
        inventory.models.push_back(modelName(std::string_view{path}.substr(manifests.size())));
    }
    std::ranges::sort(inventory.models);
    return inventory;
}

void add(std::vector<std::string> listed, LocalModelsProgress::OllamaInventory& to) {
    constexpr std::string_view latest = ":latest";
    for (std::string& name : listed) {
        if (name.ends_with(latest)) name.erase(name.size() - latest.size());
        to.models.push_back(std::move(name));
    }
    std::ranges::sort(to.models);
    const auto twice = std::ranges::unique(to.models);
    to.models.erase(twice.begin(), twice.end());
}

}  // namespace larkmoor::Inventory
