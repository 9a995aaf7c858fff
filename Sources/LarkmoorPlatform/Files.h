// Whole files, read and replaced. An error names its path and the system's reason.
#pragma once

#include <sys/types.h>

#include <expected>
#include <string>

#include "LarkmoorPlatform/Bytes.h"

namespace larkmoor {

/// What the system said of a path.
struct [[nodiscard]] FileError {
    std::string path;
    int code = 0;  ///< errno

    /// The system's words for `code`.
    std::string reason() const;
    /// "{path}: {reason}"
    std::string description() const;

    bool operator==(const FileError&) const = default;
};

namespace Files {

/// The whole file. Blocks as long as the disk does.
std::expected<Bytes, FileError> read(const std::string& path);

/// Writes all the bytes, going on after short and interrupted writes.
std::expected<void, FileError> writeAll(int descriptor, BytesView bytes, const std::string& path);

/// Replaces the file by a complete new one in one rename: whoever reads or is killed meanwhile finds the old bytes or
/// the new ones. The file has `mode` whatever the umask says (a file system that knows no modes is no failure); the
/// temporary file, which lies in the same folder, is gone on failure.
std::expected<void, FileError> replace(const std::string& path, BytesView bytes, mode_t mode);

/// Makes the folder and those above it that are missing, the new ones with `mode`. A folder that is there stays as it
/// is.
std::expected<void, FileError> makeFolders(const std::string& path, mode_t mode);

/// Whether anything readable as a file, folder or the like is at the path; a dangling link is nothing.
bool exists(const std::string& path);

}  // namespace Files

}  // namespace larkmoor
