// Whole folders on the disk: moved, copied and removed, each so that a process killed meanwhile leaves nothing that has
// the target's name and is not whole. Blocks; any thread. An error is the system's reason.
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor::Folders {

using Done = std::expected<void, std::string>;

/// Moves a file or folder, to another volume as well. An existing target is a failure; a relative link becomes
/// absolute. On another volume a process that is killed leaves the original and perhaps a part of a hidden copy, which
/// the next move replaces; for a moment both names, and then the next move fails; or the target and a part of the
/// original under the hidden name ".{name}.moved".
Done move(const std::string& from, const std::string& to);
inline constexpr std::string_view asideSuffix = ".moved";

/// Lets a relative link name its target by the whole path, so that it leads there from any folder. Nothing is done to
/// what is no such link. A process that is killed may leave a link ".{name}.link", which the next call replaces.
Done makeAbsolute(const std::string& link);
inline constexpr std::string_view linkSuffix = ".link";

/// Each takes the name of the other, at one stroke. Both exist, on one volume.
Done exchange(const std::string& one, const std::string& other);

/// Which folder it is, whatever its name; nullopt if no folder is there. A link is none.
struct Identity {
    std::uint64_t device, number;
    bool operator==(const Identity&) const = default;
};
std::optional<Identity> identity(const std::string& path);

/// What of a folder's volume is not on the disk yet is written to it.
Done sync(const std::string& path);

/// Held by one process at a time, as long as it keeps the descriptor. An empty one, and errno tells why: EWOULDBLOCK if
/// it is held already, ENOTDIR if something else than a folder is there, EPERM if it is another user's or others may
/// write to it, or the system's own reason.
FileDescriptor lock(const std::string& path);

/// Copies with permissions and links, by way of a hidden folder beside the target; one that a killed copy left there is
/// removed first. An existing target is a failure.
Done copyTree(const std::string& from, const std::string& to);

/// Removes what stands at `path`, which lies below `root`: as much of it as can be removed. Whatever is reached from
/// there by a link or a mount stays.
Done removeTree(const std::string& root, const std::string& path);

/// Removes a folder in which there are empty folders and nothing else. True if it was that, or nothing, when it was
/// looked at; another process may make it anew at any time.
bool removeIfHollow(const std::string& path);

}  // namespace larkmoor::Folders
