#include "LarkmoorWire/Models/ModelsFolder.h"

#include <fmt/format.h>

#include "LarkmoorPlatform/Process.h"

namespace larkmoor::ModelsFolder {

namespace {

/// Whatever the profile: the models are the user's, not a build's.
constexpr std::string_view instanceName = "Larkmoor";

}  // namespace

std::string defaultSupport() { return homeFolder() + "/Library/Application Support"; }

std::string root(std::string_view support) { return fmt::format("{}/{}/{}", support, instanceName, modelsRootName); }

std::string naming(std::string_view support) { return fmt::format("{}/{}", root(support), namingDirName); }

std::string namingRuntime(std::string_view support) { return fmt::format("{}/{}", naming(support), runtimeDirName); }

std::string namingBinary(std::string_view support) { return namingRuntime(support) + "/ollama"; }

std::string namingStore(std::string_view support) { return naming(support) + "/store"; }

std::string speech(std::string_view support) { return fmt::format("{}/{}", root(support), speechDirName); }

std::string voices(std::string_view support) { return fmt::format("{}/{}", root(support), voicesDirName); }

}  // namespace larkmoor::ModelsFolder
