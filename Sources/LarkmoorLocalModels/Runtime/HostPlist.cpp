#include "LarkmoorLocalModels/Runtime/HostPlist.h"

#include <fmt/format.h>

#include "LarkmoorPlatform/PropertyList.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor::HostPlist {

namespace {

constexpr std::string_view environmentKey = "EnvironmentVariables", argumentsKey = "ProgramArguments";
constexpr std::string_view modelsKey = "OLLAMA_MODELS", capKey = "LLAMA_ARG_CACHE_RAM";
/// MiB. Without it the host's prompt cache grows to gigabytes.
constexpr std::string_view cap = "256";

using Dictionary = PropertyListValue::Dictionary;

std::optional<Dictionary> parsed(const Text& text) {
    return text ? PropertyList::dictionary(asBytes(*text)) : std::nullopt;
}

template <class T>
const T* under(const Dictionary& dictionary, std::string_view key) {
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? nullptr : found->second.as<T>();
}

bool lacksVariable(const Text& text, std::string_view name) {
    const auto list = parsed(text);
    if (!list) return false;
    const auto* environment = under<Dictionary>(*list, environmentKey);
    return environment == nullptr || !environment->contains(name);
}

}  // namespace

std::string agentPlist(std::string_view binary, std::string_view log, const std::optional<std::string>& modelsDir) {
    const std::string models =
        modelsDir ? fmt::format("\t\t<key>{}</key>\n\t\t<string>{}</string>\n", modelsKey, *modelsDir) : "";
    return fmt::format(R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Label</key>
	<string>{label}</string>
	<key>{arguments}</key>
	<array>
		<string>{binary}</string>
		<string>serve</string>
	</array>
	<key>RunAtLoad</key>
	<true/>
	<key>KeepAlive</key>
	<true/>
	<key>ThrottleInterval</key>
	<integer>30</integer>
	<key>{environment}</key>
	<dict>
		<key>{capKey}</key>
		<string>{cap}</string>
{models}	</dict>
	<key>StandardOutPath</key>
	<string>{log}</string>
	<key>StandardErrorPath</key>
	<string>{log}</string>
</dict>
</plist>
)",
                       fmt::arg("label", ClientInstance::ollamaAgentLabel), fmt::arg("arguments", argumentsKey),
                       fmt::arg("binary", binary), fmt::arg("environment", environmentKey), fmt::arg("capKey", capKey),
                       fmt::arg("cap", cap), fmt::arg("models", models), fmt::arg("log", log));
}

std::optional<std::string> modelsDirForWrite(const Text& existingPlist, std::string_view support) {
    if (!existingPlist) return ModelsFolder::namingStore(support);
    const auto list = parsed(existingPlist);
    const auto* environment = list ? under<Dictionary>(*list, environmentKey) : nullptr;
    const auto* folder = environment != nullptr ? under<std::string>(*environment, modelsKey) : nullptr;
    return folder != nullptr ? std::optional{*folder} : std::nullopt;
}

std::optional<std::string> supervisedBinary(const Text& existingPlist) {
    const auto list = parsed(existingPlist);
    const auto* arguments = list ? under<PropertyListValue::Array>(*list, argumentsKey) : nullptr;
    const auto* first = arguments != nullptr && !arguments->empty() ? arguments->front().as<std::string>() : nullptr;
    return first != nullptr && !first->empty() ? std::optional{*first} : std::nullopt;
}

bool hostPlistLacksModelsDir(const Text& text) { return lacksVariable(text, modelsKey); }

bool hostPlistLacksCap(const Text& text) { return lacksVariable(text, capKey); }

std::string ollamaStore(const Text& plistText, std::string_view support, std::string_view home) {
    const auto folder = modelsDirForWrite(plistText, support);
    return folder && !folder->empty() ? *folder : fmt::format("{}/.ollama/models", home);
}

}  // namespace larkmoor::HostPlist
