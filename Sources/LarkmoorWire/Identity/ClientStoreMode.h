// The modes of private folders and files, and the one way of writing a private file.
#pragma once

#include <cstdint>
#include <expected>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor::ClientStoreMode {

/// What a call that creates something is told of its permissions.
struct PrivateAttributes {
    std::uint16_t posixPermissions;
};

inline constexpr std::uint16_t folder = 0700;
inline constexpr std::uint16_t file = 0600;
inline constexpr PrivateAttributes privateFolder{folder};
inline constexpr PrivateAttributes privateFile{file};

/// Writes a private file atomically: 0600, in a folder that is made with 0700, those above it likewise, if it is
/// missing. Blocks; whoever reads it, and whatever fails, it holds its old bytes or the new ones.
std::expected<void, FileError> write(BytesView data, const std::string& toFile);

}  // namespace larkmoor::ClientStoreMode
