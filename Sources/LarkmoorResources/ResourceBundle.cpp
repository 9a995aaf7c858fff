#include "LarkmoorResources/ResourceBundle.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "LarkmoorBase/Files.h"

namespace larkmoor::ResourceBundle {

namespace fs = std::filesystem;

namespace {

/// A bundle has a folder for them; a plain folder is that folder itself.
fs::path resources(const fs::path& bundle) {
    const bool isBundle = bundle.extension() == ".app" || bundle.extension() == ".bundle";
    return isBundle ? bundle / "Contents" / "Resources" : bundle;
}

}  // namespace

std::optional<std::string> appResources(std::string_view forExecutable) {
    const fs::path programs = fs::path{Files::standardized(forExecutable)}.parent_path();
    const fs::path contents = programs.parent_path();
    if (programs.filename() != "MacOS" || contents.filename() != "Contents") return std::nullopt;
    return (contents / "Resources").string();
}

std::vector<std::string> roots(std::string_view executable, std::string_view main, std::string_view anchor) {
    std::vector<std::string> places;
    const auto add = [&places](const fs::path& place) {
        std::string plain = Files::standardized(place.string());
        if (std::ranges::find(places, plain) == places.end()) places.push_back(std::move(plain));
    };
    const fs::path mainBundle = Files::standardized(main), anchorBundle = Files::standardized(anchor);
    add(resources(mainBundle));
    if (const auto beside = appResources(executable)) add(*beside);
    add(resources(anchorBundle));
    add(anchorBundle.parent_path());
    add(mainBundle);
    return places;
}

std::vector<std::string> candidates(std::string_view name, const std::vector<std::string>& roots) {
    std::vector<std::string> paths;
    for (const std::string& root : roots) paths.push_back(fmt::format("{}/{}.bundle", root, name));
    return paths;
}

std::optional<std::string> find(std::string_view name, const std::vector<std::string>& roots) {
    for (std::string& path : candidates(name, roots)) {
        std::error_code ignored;
        if (fs::is_directory(path, ignored)) return std::move(path);
    }
    return std::nullopt;
}

std::string require(std::string_view name, const std::vector<std::string>& roots) {
    if (auto found = find(name, roots)) return *std::move(found);
    fmt::print(stderr, "could not load resource bundle {}.bundle — tried:\n{}\n", name,
               fmt::join(candidates(name, roots), "\n"));
    std::abort();
}

}  // namespace larkmoor::ResourceBundle
