// Which hook commands in somebody's file are ours, however old the build that wrote them. Pure text; a path with a
// blank in it is never taken for ours unless it is exactly what this build writes, since nothing here reads quoting.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorConnectors/Framework/HookOwnership.h"

namespace larkmoor::HookCommand {

/// Nothing for a command that is not ours. `currents` are those that this build writes for the harness.
std::optional<HookOwnership> tier(std::string_view of, std::span<const std::string> currents);

/// The command with each of its flags behind a blank and behind "=", in every combination.
std::vector<std::string> spellings(const std::string& of);

/// Where the script lies that a command of the first builds runs; the view is of `command`.
std::optional<std::string_view> legacyScriptPath(std::string_view command);

/// Whether the command runs the hook of some bundle of ours for the harness of `current`.
bool isLegacyBundle(std::string_view command, std::string_view current);

/// The command up to its first blank.
std::string_view program(std::string_view command);

}  // namespace larkmoor::HookCommand
