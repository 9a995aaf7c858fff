#include "LarkmoorWire/Identity/ClientInstance.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "LarkmoorPlatform/Process.h"

namespace larkmoor::ClientInstance {

namespace {

std::string expandingTilde(std::string_view path) {
    if (path == "~" || path.starts_with("~/")) return homeFolder() + std::string{path.substr(1)};
    return std::string{path};
}

/// The path with links resolved as far as it exists, and without dots, doubled slashes and a slash at the end.
std::string standardised(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code failed;
    fs::path plain = fs::weakly_canonical(path, failed);
    if (failed) plain = fs::path{path}.lexically_normal();
    std::string text = plain.string();
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    return text;
}

}  // namespace

std::string dotRootExpanded(std::string_view home) { return fmt::format("{}/{}", home, dotRootName); }

std::string runbooksRootExpanded(std::string_view home) { return dotRootExpanded(home) + "/runbooks"; }

std::string daemonLogPath(std::string_view home) { return fmt::format("{}/Library/Logs/{}", home, daemonLogName); }

std::string supportRoot(std::string_view support) { return fmt::format("{}/{}", support, supportDirName); }

bool isUnderAnySupportRoot(std::string_view path) {
    const std::string place = standardised(expandingTilde(path));
    return std::ranges::any_of(allSupportDirNames, [&place](std::string_view name) {
        const std::string probe = fmt::format("/Application Support/{}", name);
        return place.ends_with(probe) || place.contains(probe + "/");
    });
}

}  // namespace larkmoor::ClientInstance
