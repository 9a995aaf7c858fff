// Which hook commands in somebody's file are ours, however old the build that wrote them. Pure text; a path with a
// blank in it is never taken for ours unless it is exactly what this build writes, since nothing here reads quoting.
#pragma once

#include <boost/describe.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace larkmoor {

/// Whose a hook entry of ours is: this build's, or an earlier one's.
BOOST_DEFINE_ENUM_CLASS(HookOwnership, current, stale)

/// A hook entry that is ours, and where it stands in the document that it was found in.
struct HookSite {
    std::string event;       ///< the member of `hooks` that it stands under
    std::int64_t group = 0;  ///< the index in that event's array; 0 where entries stand in it without groups
    std::int64_t entry = 0;  ///< the index in the group's `hooks` array, or else in the event's
    std::string command;
    HookOwnership tier = HookOwnership::stale;

    /// Whether the command's first word is the path of this program.
    bool runs(std::string_view program) const;

    bool operator==(const HookSite&) const = default;
};

namespace HookCommand {

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

/// Whether it is the command that runs before a tool of ours, and not before a prompt.
bool isPreTool(std::string_view command);

}  // namespace HookCommand

}  // namespace larkmoor
