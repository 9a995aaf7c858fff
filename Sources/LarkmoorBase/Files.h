// Whole files, read and replaced, and the listing of folders. An error names its path and the system's reason.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor {

/// A failed system call, or a file that is not read at all, and its path.
struct [[nodiscard]] FileError {
    std::string path;
    int code = 0;                             ///< errno
    std::optional<std::string_view> words{};  ///< a string literal, where the system's words would not be understood

    /// `words`, or the system's message for `code`.
    std::string reason() const;
    /// "{path}: {reason}"
    std::string description() const;

    bool operator==(const FileError&) const = default;
};

namespace Files {

/// One spelling for one place: without ".", ".." and a slash at the end. Pure; links are not looked at.
std::string standardized(std::string_view path);

/// What `read` and `readAll` take at most, unless the caller takes less.
inline constexpr std::size_t maxBytes = std::size_t{64} << 20U;

/// The whole regular file. Anything else (a pipe, a device, a socket) and a larger file are failures at once, unread.
/// Blocks as long as the disk does.
std::expected<Bytes, FileError> read(const std::string& path, std::size_t limit = maxBytes);

/// Everything from the descriptor's position to its end, at most `limit` bytes; it stays open. `path` is what an error
/// names.
std::expected<Bytes, FileError> readAll(int descriptor, const std::string& path, std::size_t limit = maxBytes);

/// Writes all the bytes, going on after short and interrupted writes.
std::expected<void, FileError> writeAll(int descriptor, BytesView bytes, const std::string& path);

/// Creates a new file, with `mode` less the umask. An existing file stays as it is and is the failure EEXIST; on any
/// other failure nothing is left behind.
std::expected<void, FileError> create(const std::string& path, BytesView bytes, mode_t mode);

/// Replaces the file by a complete new one in one rename: readers see the old or the new content, even if this process
/// is killed meanwhile. The file has `mode` whatever the umask says (a file system without modes is not an error); the
/// temporary file, which is in the same folder, is removed on failure.
std::expected<void, FileError> replace(const std::string& path, BytesView bytes, mode_t mode);

/// Creates the folder and the missing ones above it, with `mode`. An existing folder stays as it is.
std::expected<void, FileError> makeFolders(const std::string& path, mode_t mode);

/// When the bytes of the file were last changed, within what the clock can tell; nullopt if there is no file.
std::optional<std::chrono::system_clock::time_point> modified(const std::string& path);

/// Whether anything exists at the path, links followed; false for a dangling link, and where we may not look.
bool exists(const std::string& path);

/// Whether certainly nothing exists at the path, links followed; false where we may not look.
bool isAbsent(const std::string& path);

/// Whether anything has the name, even a link that leads nowhere; false where we may not look.
bool isTaken(const std::string& path);

/// Whether there is a regular file, links followed, that we may execute.
bool isExecutable(const std::string& path);

/// The permission bits of what is at the path, links followed; nullopt if they cannot be read.
std::optional<mode_t> permissions(const std::string& path);

/// The names in the folder, sorted by their bytes; nullopt if it cannot be listed.
std::optional<std::vector<std::string>> names(const std::string& folder);

}  // namespace Files

}  // namespace larkmoor
