// Judges what an archive would unpack to, before it is unpacked.
//
// The listing is that of the program that unpacks, so that both read the archive alike: a reader of our own might see
// other entries than tar does. A listing that is not understood is an objection too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace larkmoor::ArchiveListing {

struct Limits {
    std::size_t entries = 20'000;
    std::size_t listingBytes = std::size_t{8} << 20U;
    std::int64_t bytes = std::int64_t{16} << 30;  ///< of all entries together, unpacked
};

/// The options by which tar lists in the form that `objection` reads.
inline constexpr const char* tarOptions[] = {"--force-local", "--quoting-style=c", "--numeric-owner", "--full-time"};

/// Why the archive must not be unpacked, in words; nullopt if every entry is a folder, a regular file or a link, has a
/// plain ASCII name inside the folder and no set-user or set-group bit, and no link leads out:
/// - no entry is there twice or lies below one that is no folder, so that no link is ever on an entry's way;
/// - the target of a symbolic link goes up at its beginning alone, and not above the archive's folder;
/// - a hard link names a file that came before it.
std::optional<std::string> objection(std::string_view listing, const Limits& limits);

}  // namespace larkmoor::ArchiveListing
