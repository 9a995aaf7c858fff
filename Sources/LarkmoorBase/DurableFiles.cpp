#include "LarkmoorBase/DurableFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor::DurableFiles {

namespace {

constexpr std::size_t pieceSize = std::size_t{1} << 20U;

std::unexpected<FileError> failure(const std::string& path, int code = errno) {
    return std::unexpected(FileError{path, code});
}

std::expected<std::uint64_t, FileError> copyAll(int source, const std::string& from, int target,
                                                const std::string& to) {
    Bytes piece(pieceSize);
    for (std::uint64_t total = 0;;) {
        const ssize_t count = ::read(source, piece.data(), piece.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failure(from);
        if (count == 0) return total;
        const auto read = static_cast<std::size_t>(count);
        if (auto written = Files::writeAll(target, BytesView{piece}.first(read), to); !written) {
            return std::unexpected(std::move(written.error()));
        }
        total += read;
    }
}

/// Writes a new file by `fill`, which takes its descriptor.
template <class Fill>
auto written(const std::string& path, mode_t mode, Fill fill) -> decltype(fill(0)) {
    FileDescriptor target{::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode)};
    if (!target) return failure(path);
    auto filled = fill(target.get());
    if (filled && ::fsync(target.get()) != 0) filled = failure(path);
    if (filled && ::close(target.release()) != 0) filled = failure(path);
    if (!filled) ::unlink(path.c_str());
    return filled;
}

}  // namespace

std::expected<std::uint64_t, FileError> copy(const std::string& from, const std::string& to, mode_t mode) {
    // Neither a link is followed nor a pipe waited for.
    const FileDescriptor source{::open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
    struct stat status{};
    if (!source || ::fstat(source.get(), &status) != 0) return failure(from);
    if (!S_ISREG(status.st_mode)) return std::unexpected(FileError{from, EINVAL, "it is not a regular file"});
    return written(to, mode, [&](int target) { return copyAll(source.get(), from, target, to); });
}

std::expected<void, FileError> create(const std::string& path, BytesView bytes, mode_t mode) {
    return written(path, mode, [&](int target) { return Files::writeAll(target, bytes, path); });
}

std::expected<void, FileError> syncFolder(const std::string& folder) {
    const FileDescriptor opened{::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!opened) return failure(folder);
    const bool isDone = ::fsync(opened.get()) == 0 || errno == EINVAL || errno == ENOTSUP || errno == EROFS;
    return isDone ? std::expected<void, FileError>{} : failure(folder);
}

}  // namespace larkmoor::DurableFiles
