#include "LarkmoorPlatform/Linux/Applications/ApplicationLauncher.h"

#include <fmt/format.h>

#include <filesystem>

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/PlatformLog.h"
#include "LarkmoorPlatform/PropertyList.h"

namespace larkmoor {

namespace {

namespace fs = std::filesystem;

/// The executable that a bundle's property list names, or the path itself.
std::string executableOf(const std::string& path) {
    if (fs::path{path}.extension() != ".app") return path;
    const fs::path contents = fs::path{path} / "Contents";
    const auto list = Files::read((contents / "Info.plist").string());
    const auto name = list ? PropertyList::textUnder(*list, "CFBundleExecutable") : std::nullopt;
    return (contents / "MacOS" / name.value_or(fs::path{path}.stem().string())).string();
}

}  // namespace

void ApplicationLauncher::open(const std::string& path, std::vector<std::string> arguments) {
    const auto launched =
        runner_.launch(executableOf(path), std::move(arguments), environmentWithToken(activationToken_()));
    if (!launched) {
        platformLog(fmt::format("[larkmoor-menu] {} could not be opened: {}", path, launched.error().description()));
    }
}

}  // namespace larkmoor
