// Application bundles of ours: which one a file belongs to, where its executables lie, and which commands run them.
#pragma once

#include <boost/describe.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace larkmoor {

namespace InstalledBundle {

/// The outermost application bundle that holds the location, or is it; nothing if there is none, or if the text is no
/// absolute path.
std::optional<std::string> enclosing(const std::string& location);

/// That of the running program.
std::optional<std::string> current();

/// The path of one of the bundle's executables.
std::string executable(const std::string& bundle, std::string_view name);

}  // namespace InstalledBundle

/// The parts of a command that runs an executable of some Larkmoor bundle. Views are of the command given.
namespace BundleCommand {

/// The command less a slot flag at its end.
std::string_view withoutSlot(std::string_view command);

/// The value of the harness flag at its end, a slot behind it aside.
std::optional<std::string_view> harness(std::string_view of);

/// The path before that flag, if the flag is this harness's.
std::optional<std::string_view> hookExecutable(std::string_view of, std::string_view harness);

/// Whether the path is absolute and is this executable's in a Larkmoor.app, wherever that lies.
bool names(std::string_view path, std::string_view binary);

}  // namespace BundleCommand

namespace Connectors {

/// Which family of builds a retirement is for: the engineers' own, or everybody's.
BOOST_DEFINE_ENUM_CLASS(Profile, dev, production)

}  // namespace Connectors

}  // namespace larkmoor
