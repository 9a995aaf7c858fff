#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

#include <cstdlib>
#include <memory>
#include <optional>

namespace larkmoor::ConfigPath {

namespace {

/// With its terminator; the system's own bound may be wider.
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
    if (auto file = resolved(path)) return *file;
    if (auto above = resolved(folder(path))) return inFolder(std::move(*above), lastComponent(path));
    return path;
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
