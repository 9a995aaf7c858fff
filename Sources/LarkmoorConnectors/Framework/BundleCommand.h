// The parts of a command that runs an executable of some Larkmoor bundle. Views are of the command given.
#pragma once

#include <optional>
#include <string_view>

namespace larkmoor::BundleCommand {

/// The command less a slot flag at its end.
std::string_view withoutSlot(std::string_view command);

/// The value of the harness flag at its end, a slot behind it aside.
std::optional<std::string_view> harness(std::string_view of);

/// The path before that flag, if the flag is this harness's.
std::optional<std::string_view> hookExecutable(std::string_view of, std::string_view harness);

/// Whether the path is absolute and is this executable's in a Larkmoor.app, wherever that lies.
bool names(std::string_view path, std::string_view binary);

}  // namespace larkmoor::BundleCommand
