// Which hook commands in a harness's file are ours, however old the build that wrote them. Works on text alone and does
// not parse quoting; a command whose path contains a blank is ours only if it is exactly what this build writes.
#pragma once

#include <boost/describe.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace larkmoor {

/// Which build wrote a hook entry of ours: this one, or an earlier one.
BOOST_DEFINE_ENUM_CLASS(HookOwnership, current, stale)

/// A hook entry of ours, and its place in the document in which it was found.
struct HookSite {
    std::string event;       ///< the member of `hooks` that contains it
    std::int64_t group = 0;  ///< the index in that event's array; 0 if the array holds entries without groups
    std::int64_t entry = 0;  ///< the index in the group's `hooks` array, or in the event's array if there are no groups
    std::string command;
    HookOwnership tier = HookOwnership::stale;

    /// Whether the command's first word is the path of this program.
    bool runs(std::string_view program) const;

    bool operator==(const HookSite&) const = default;
};

namespace HookCommand {

/// nullopt for a command that is not ours. `currents` are the commands that this build writes for the harness.
std::optional<HookOwnership> tier(std::string_view of, std::span<const std::string> currents);

/// All spellings of the command: the values of "--harness" and "--slot" after a blank and after "=", in every
/// combination.
std::vector<std::string> spellings(const std::string& of);

/// The path of the script that a hook command of the first builds runs; a view into `command`.
std::optional<std::string_view> legacyScriptPath(std::string_view command);

/// Whether the command runs the hook of some bundle of ours for the harness of `current`.
bool isLegacyBundle(std::string_view command, std::string_view current);

/// The command up to its first blank.
std::string_view program(std::string_view command);

/// Whether this command runs before a tool of ours, not before a prompt.
bool isPreTool(std::string_view command);

}  // namespace HookCommand

}  // namespace larkmoor
