#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

#include <fmt/format.h>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

namespace larkmoor::ConfigPath {

namespace {

/// With its terminator; the system's own limit may be higher.
constexpr std::size_t longestPath = 1025;

std::optional<std::string> resolved(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> text{::realpath(path.c_str(), nullptr), &std::free};
    if (text == nullptr) return std::nullopt;
    std::string result{text.get()};
    if (result.size() >= longestPath) return std::nullopt;
    return result;
}

std::string_view withoutFinalSlashes(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
    return path;
}

std::string inFolder(std::string folder, std::string_view name) {
    if (!folder.ends_with('/')) folder += '/';
    return folder.append(name);
}

}  // namespace

std::string canonical(const std::string& path) {
    constexpr int maxLinks = 40;  // as many as the system follows
    std::string place = path;
    for (int links = 0; links <= maxLinks; ++links) {
        if (auto file = resolved(place)) return *file;
        std::error_code noLink;
        const std::string target = std::filesystem::read_symlink(place, noLink).string();
        if (noLink) {
            if (auto above = resolved(folder(place))) return inFolder(std::move(*above), lastComponent(place));
            return place;
        }
        place = target.starts_with('/') ? target : sibling(place, target);
    }
    return path;
}

bool isLink(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_symlink(path, ignored);
}

std::string_view lastComponent(std::string_view path) {
    path = withoutFinalSlashes(path);
    return path.substr(path.rfind('/') + 1);
}

std::string folder(std::string_view path) {
    path = withoutFinalSlashes(path);
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) return ".";
    return std::string{withoutFinalSlashes(path.substr(0, slash + 1))};
}

std::string sibling(std::string_view path, std::string_view name) { return inFolder(folder(path), name); }

}  // namespace larkmoor::ConfigPath

namespace larkmoor {

ConfigFileError ConfigFileError::writeFailed(std::string path, std::string reason) {
    return WriteFailed{std::move(path), std::move(reason)};
}

ConfigFileError ConfigFileError::writeFailed(std::string path, int code) {
    return writeFailed(std::move(path), std::generic_category().message(code));
}

ConfigFileError ConfigFileError::notWritable(std::string path) { return NotWritable{std::move(path)}; }

std::string ConfigFileError::description() const {
    return visit(
        [](const WriteFailed& error) { return fmt::format("{} could not be written: {}", error.path, error.reason); },
        [](const NotWritable& error) { return fmt::format("{} cannot be written by this user", error.path); });
}

}  // namespace larkmoor
