// The property list of the model host's launch agent: how we write it, and what one on the disk says. It is the host's
// only state: one with our label is a host of ours. Pure; any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace larkmoor::HostPlist {

/// The list as XML. Paths are written as they are, without escaping. With `modelsDir` the host keeps its models there,
/// otherwise in the runtime's default folder.
std::string agentPlist(std::string_view binary, std::string_view log, const std::optional<std::string>& modelsDir);

// What a list says; no text is no list.

using Text = std::optional<std::string>;

/// The store for a list that is written next, which keeps the host's present one. nullopt: the runtime's default.
std::optional<std::string> modelsDirForWrite(const Text& existingPlist, std::string_view support);
/// The executable that the agent runs.
std::optional<std::string> supervisedBinary(const Text& existingPlist);
/// Whether a readable list does not say where the models are.
bool hostPlistLacksModelsDir(const Text& text);
/// Whether a readable list does not limit the memory of the host's prompt cache.
bool hostPlistLacksCap(const Text& text);
/// The store of the host with that list.
std::string ollamaStore(const Text& plistText, std::string_view support, std::string_view home);

}  // namespace larkmoor::HostPlist
