// The permissions of private folders and files, and a function that writes a private file.
#pragma once

#include <cstdint>
#include <expected>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor::ClientStoreMode {

/// Permissions, as passed to a call that creates a file or folder.
struct PrivateAttributes {
    std::uint16_t posixPermissions;
};

inline constexpr std::uint16_t folder = 0700;
inline constexpr std::uint16_t file = 0600;
inline constexpr PrivateAttributes privateFolder{folder};
inline constexpr PrivateAttributes privateFile{file};

/// Writes a file with mode 0600 atomically: a reader sees the old or the new content, whatever fails. The missing
/// folders above it are created with mode 0700. Blocks.
std::expected<void, FileError> write(BytesView data, const std::string& toFile);

}  // namespace larkmoor::ClientStoreMode
