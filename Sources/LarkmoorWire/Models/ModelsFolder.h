// The folders of the local models, one tree for each user. All are texts that begin with `support`, the Application
// Support folder without a slash at the end; nothing here touches the disk.
#pragma once

#include <string>
#include <string_view>

namespace larkmoor::ModelsFolder {

inline constexpr std::string_view modelsRootName = "models";
inline constexpr std::string_view namingDirName = "naming";
inline constexpr std::string_view runtimeDirName = "runtime";
inline constexpr std::string_view speechDirName = "speech";
inline constexpr std::string_view voicesDirName = "voices";

/// Application Support in the home folder.
std::string defaultSupport();

std::string root(std::string_view support);
std::string naming(std::string_view support);
/// The runtime that runs the naming model, and its executable.
std::string namingRuntime(std::string_view support);
std::string namingBinary(std::string_view support);
/// Where the model host keeps the naming model.
std::string namingStore(std::string_view support);
std::string speech(std::string_view support);
std::string voices(std::string_view support);

}  // namespace larkmoor::ModelsFolder
