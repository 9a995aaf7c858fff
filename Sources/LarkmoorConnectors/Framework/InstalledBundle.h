// Application bundles of ours: which one contains a file, where its executables are, and which commands run them.
#pragma once

#include <boost/describe.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace larkmoor {

namespace InstalledBundle {

/// The outermost application bundle that contains the location or is the location itself; nullopt if there is none, or
/// if the text is not an absolute path.
std::optional<std::string> enclosing(const std::string& location);

/// The bundle of the running program.
std::optional<std::string> current();

/// The path of one of the bundle's executables.
std::string executable(const std::string& bundle, std::string_view name);

}  // namespace InstalledBundle

/// The parts of a command that runs an executable of some Larkmoor bundle. Views are of the command given.
namespace BundleCommand {

/// The command without a trailing "--slot" flag, which names the task of a hook ("rules", "pretool").
std::string_view withoutSlot(std::string_view command);

/// The value of the trailing "--harness" flag; a "--slot" flag after it is ignored.
std::optional<std::string_view> harness(std::string_view of);

/// The path before that flag, if the flag names this harness.
std::optional<std::string_view> hookExecutable(std::string_view of, std::string_view harness);

/// Whether the path is absolute and ends with Larkmoor.app/Contents/MacOS/{binary}.
bool names(std::string_view path, std::string_view binary);

}  // namespace BundleCommand

namespace Connectors {

/// Development builds or release builds: whose old entries a retirement removes.
BOOST_DEFINE_ENUM_CLASS(Profile, dev, production)

}  // namespace Connectors

}  // namespace larkmoor
