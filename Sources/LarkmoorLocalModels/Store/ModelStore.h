// The model host's store on the disk.
#pragma once

#include <string_view>

namespace larkmoor::ModelStore {

/// The registry whose models have names without a host; the host names its folder under `manifests` so.
inline constexpr std::string_view defaultRegistry = "registry.ollama.ai";

}  // namespace larkmoor::ModelStore
