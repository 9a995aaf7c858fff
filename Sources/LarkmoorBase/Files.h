// Whole files, read and replaced, and what a folder holds. An error names its path and the system's reason.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorBase/Bytes.h"

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

/// All that the descriptor has left to give; it stays open. `path` is what an error names.
std::expected<Bytes, FileError> readAll(int descriptor, const std::string& path);

/// Writes all the bytes, going on after short and interrupted writes.
std::expected<void, FileError> writeAll(int descriptor, BytesView bytes, const std::string& path);

/// Makes a file that was not there, with `mode` less the umask. One that is there stays as it is and is the failure
/// EEXIST; on any other failure nothing is left behind.
std::expected<void, FileError> create(const std::string& path, BytesView bytes, mode_t mode);

/// Replaces the file by a complete new one in one rename: whoever reads or is killed meanwhile finds the old bytes or
/// the new ones. The file has `mode` whatever the umask says (a file system that knows no modes is no failure); the
/// temporary file, which lies in the same folder, is gone on failure.
std::expected<void, FileError> replace(const std::string& path, BytesView bytes, mode_t mode);

/// Makes the folder and those above it that are missing, the new ones with `mode`. A folder that is there stays as it
/// is.
std::expected<void, FileError> makeFolders(const std::string& path, mode_t mode);

/// When the file's bytes were last changed; nothing for what is not there.
std::optional<std::chrono::system_clock::time_point> modified(const std::string& path);

/// Whether anything readable as a file, folder or the like is at the path; a dangling link is nothing.
bool exists(const std::string& path);

/// The permission bits of what is at the path, links followed; nothing if the system will not say.
std::optional<mode_t> permissions(const std::string& path);

/// The names of what lies in the folder, in plain order of their bytes; nothing if it cannot be listed.
std::optional<std::vector<std::string>> names(const std::string& folder);

}  // namespace Files

}  // namespace larkmoor
