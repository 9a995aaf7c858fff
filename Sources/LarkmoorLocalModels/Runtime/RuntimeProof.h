// The proof of a runtime's executable that we unpacked: its digest, in a file beside it.
//
// The digest is taken from what came out of the archive that matched the pinned fingerprint, and the file is written as
// the last step of unpacking. So an executable of which one byte has changed does not verify, and neither does one that
// a killed download or unpacking left behind. Against somebody who acts as this very user it is no protection.
#pragma once

#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Files.h"

namespace larkmoor::RuntimeProof {

/// "{binary}.sha256"
std::string path(const std::string& binary);

/// Stands in the digest's place until the executable is whole.
inline constexpr std::string_view unproven = "unproven";

/// Writes the proof, with mode 0600, in one rename. `entries` are the names in the binary's folder that came with it,
/// where that is a folder of the user's.
std::expected<void, FileError> write(const std::string& binary, std::string_view digest,
                                     const std::vector<std::string>& entries = {});

/// The names that `write` took; nullopt where there is no file, or one that `write` did not make.
std::optional<std::vector<std::string>> entries(const std::string& binary);

/// The error says what is wrong, in words. Reads the whole executable; any thread.
std::expected<void, std::string> check(const std::string& binary);

}  // namespace larkmoor::RuntimeProof

namespace larkmoor {

/// Whether the executable is the one that was unpacked. Reads all of it; any thread.
bool binaryVerifies(const std::string& path);

}  // namespace larkmoor
