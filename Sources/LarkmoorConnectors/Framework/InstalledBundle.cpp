#include "LarkmoorConnectors/Framework/InstalledBundle.h"

#include <fmt/format.h>

#include <filesystem>

namespace larkmoor::InstalledBundle {

namespace fs = std::filesystem;

std::optional<std::string> enclosing(const std::string& location) {
    constexpr int mostLevels = 64;
    if (!location.starts_with('/')) return std::nullopt;
    fs::path place = fs::path{location}.lexically_normal();
    if (!place.has_filename()) place = place.parent_path();
    std::optional<std::string> outermost;
    for (int level = 0; level < mostLevels; ++level) {
        std::error_code ignored;
        if (place.extension() == ".app" && fs::is_directory(place, ignored)) outermost = place.string();
        const fs::path above = place.parent_path();
        if (above == place || above == "/" || above.empty()) break;
        place = above;
    }
    return outermost;
}

std::string executable(const std::string& bundle, std::string_view name) {
    return fmt::format("{}/Contents/MacOS/{}", bundle, name);
}

}  // namespace larkmoor::InstalledBundle
