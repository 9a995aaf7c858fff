// Which application bundle a file belongs to, and where its executables lie.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace larkmoor::InstalledBundle {

/// The outermost application bundle that holds the location, or is it; nothing if there is none, or if the text is no
/// absolute path.
std::optional<std::string> enclosing(const std::string& location);

/// That of the running program.
std::optional<std::string> current();

/// The path of one of the bundle's executables.
std::string executable(const std::string& bundle, std::string_view name);

}  // namespace larkmoor::InstalledBundle
