// Resource bundles: folders "{name}.bundle" that come with the application, and the places where one may be.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkmoor::ResourceBundle {

/// The Resources folder of the bundle that holds the executable: "{...}/Contents/Resources" for
/// "{...}/Contents/MacOS/{executable}"; nullopt for an executable that is elsewhere. The disk is not asked.
std::optional<std::string> appResources(std::string_view forExecutable);

/// Where to look, in this order and each place once. `main` is the running program's bundle, or the folder of a program
/// that has none; `anchor` is the bundle of the code that asks. All are absolute paths; the disk is not asked.
std::vector<std::string> roots(std::string_view executable, std::string_view main, std::string_view anchor);

/// The paths that the bundle `name` has in these places.
std::vector<std::string> candidates(std::string_view name, const std::vector<std::string>& roots);

/// The first candidate that is a folder.
std::optional<std::string> find(std::string_view name, const std::vector<std::string>& roots);

/// The same for a bundle without which the build is faulty: if there is none, it says so on standard error and stops
/// the program.
std::string require(std::string_view name, const std::vector<std::string>& roots);

}  // namespace larkmoor::ResourceBundle
