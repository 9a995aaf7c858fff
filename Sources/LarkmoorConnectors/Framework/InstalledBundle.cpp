#include "LarkmoorConnectors/Framework/InstalledBundle.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <ranges>
#include <vector>

#include "LarkmoorBase/Files.h"

namespace larkmoor {

namespace InstalledBundle {

namespace fs = std::filesystem;

std::optional<std::string> enclosing(const std::string& location) {
    constexpr int maxLevels = 64;
    if (!location.starts_with('/')) return std::nullopt;
    fs::path place = Files::standardized(location);
    std::optional<std::string> outermost;
    for (int level = 0; level < maxLevels; ++level) {
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

}  // namespace InstalledBundle

namespace BundleCommand {

namespace {

struct Flagged {
    std::string_view before, value;
};

/// Splits the command at a flag that ends it with a value of one word. "--flag value" is tried before "--flag=value".
std::optional<Flagged> flagAtEnd(std::string_view command, std::string_view flag) {
    for (const char sign : {' ', '='}) {
        const std::string separator = fmt::format(" --{}{}", flag, sign);
        const std::size_t at = command.rfind(separator);
        if (at == std::string_view::npos) continue;
        const std::string_view value = command.substr(at + separator.size());
        if (value.empty() || value.contains(' ')) return std::nullopt;
        return Flagged{command.substr(0, at), value};
    }
    return std::nullopt;
}

}  // namespace

std::string_view withoutSlot(std::string_view command) {
    const auto parts = flagAtEnd(command, "slot");
    return parts ? parts->before : command;
}

std::optional<std::string_view> harness(std::string_view of) {
    const auto parts = flagAtEnd(withoutSlot(of), "harness");
    return parts ? std::optional{parts->value} : std::nullopt;
}

std::optional<std::string_view> hookExecutable(std::string_view of, std::string_view harness) {
    if (harness.empty()) return std::nullopt;
    const std::string_view command = withoutSlot(of);
    for (const char sign : {' ', '='}) {
        const std::string flag = fmt::format(" --harness{}{}", sign, harness);
        if (!command.ends_with(flag)) continue;
        const std::string_view path = command.substr(0, command.size() - flag.size());
        if (path.empty() || path.contains(' ')) return std::nullopt;
        return path;
    }
    return std::nullopt;
}

bool names(std::string_view path, std::string_view binary) {
    if (!path.starts_with('/')) return false;
    std::vector<std::string_view> components;
    for (const auto component : std::views::split(path, '/')) {
        if (!component.empty()) components.emplace_back(component.begin(), component.end());
    }
    const std::array tail{std::string_view{"Larkmoor.app"}, std::string_view{"Contents"}, std::string_view{"MacOS"},
                          binary};
    return components.size() >= tail.size() && std::ranges::equal(tail, std::span{components}.last(tail.size()));
}

}  // namespace BundleCommand

}  // namespace larkmoor
