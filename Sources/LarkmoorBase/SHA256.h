// SHA-256 (FIPS 180-4) of bytes and of files.
#pragma once

#include <expected>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor::SHA256 {

/// The digest in lower-case hexadecimal, 64 digits. Any thread.
std::string ofBytes(BytesView bytes);

/// The digest of the whole file, read in pieces of constant size. Only regular files are accepted: a pipe would block
/// for ever, a device might never end. Blocks as long as the disk does; any thread.
std::expected<std::string, FileError> ofFile(const std::string& path);

}  // namespace larkmoor::SHA256
