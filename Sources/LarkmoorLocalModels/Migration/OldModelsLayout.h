// Where older builds kept the models. `support` is Application Support, without a slash at the end.
#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>

#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor::OldModelsLayout {

inline constexpr std::string_view oldRuntimeDirName = "ollama";
inline constexpr std::string_view oldRuntimeStoreName = "models";
inline constexpr std::string_view oldVoicesDirName = "Models";
/// On a volume that ignores case, the old folder of the voices and the new one of all models are one: it steps aside.
inline constexpr std::string_view parkedVoicesDirName = "Models.m1575-moving";

inline std::string instanceRoot(std::string_view support) {
    return fmt::format("{}/{}", support, ClientInstance::supportDirName);
}
inline std::string runtime(std::string_view support) {
    return fmt::format("{}/{}", instanceRoot(support), oldRuntimeDirName);
}
/// What the removal of an old runtime's second copy left that was killed.
inline std::string spareRuntime(std::string_view support) {
    return fmt::format("{}/.old-runtime", ModelsFolder::naming(support));
}
inline std::string voices(std::string_view support) {
    return fmt::format("{}/{}", instanceRoot(support), oldVoicesDirName);
}
inline std::string parkedVoices(std::string_view support) {
    return fmt::format("{}/{}", instanceRoot(support), parkedVoicesDirName);
}
/// The cache of the speech library, which other programs share.
inline std::string fluidAudio(std::string_view support) { return fmt::format("{}/FluidAudio/Models", support); }

}  // namespace larkmoor::OldModelsLayout
