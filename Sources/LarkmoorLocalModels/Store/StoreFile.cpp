#include "LarkmoorLocalModels/Store/StoreFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <set>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor::StoreFile {

namespace {

std::unexpected<ModelStoreError> failure(const FileError& error) {
    return std::unexpected{ModelStoreError{error.description()}};
}

bool isOneOf(int code, std::initializer_list<int> codes) { return std::ranges::find(codes, code) != codes.end(); }

bool areOne(const struct stat& first, const struct stat& second) {
    return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

/// A new file with the bytes and the permissions of the other, on the disk.
std::expected<void, FileError> write(const std::string& from, const std::string& to) {
    constexpr std::size_t pieceSize = std::size_t{1} << 20U;
    const FileDescriptor source{::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)};
    struct stat status{};
    if (!source || ::fstat(source.get(), &status) != 0) return std::unexpected{FileError{from, errno}};
    if (!S_ISREG(status.st_mode)) return std::unexpected{FileError{from, EINVAL, "it is not a regular file"}};
    FileDescriptor target{::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)};
    if (!target) return std::unexpected{FileError{to, errno}};
    Bytes piece(pieceSize);
    for (;;) {
        const ssize_t count = ::read(source.get(), piece.data(), piece.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::unexpected{FileError{from, errno}};
        if (count == 0) break;
        const BytesView read = BytesView{piece}.first(static_cast<std::size_t>(count));
        if (auto written = Files::writeAll(target.get(), read, to); !written) return written;
    }
    // A file system without modes is not an error.
    static_cast<void>(::fchmod(target.get(), status.st_mode & 0777));
    if (::fsync(target.get()) != 0 || ::close(target.release()) != 0) return std::unexpected{FileError{to, errno}};
    return {};
}

std::expected<bool, ModelStoreError> haveSameBytes(const std::string& first, const std::string& second) {
    auto one = ModelStore::digest(first), other = ModelStore::digest(second);
    if (!one) return std::unexpected{std::move(one.error())};
    if (!other) return std::unexpected{std::move(other.error())};
    return *one == *other;
}

}  // namespace

std::expected<std::optional<struct stat>, ModelStoreError> status(const std::string& path) {
    struct stat status{};
    if (::stat(path.c_str(), &status) == 0) return status;
    // What we are not allowed to see, or a disk does not tell, is not missing.
    if (isOneOf(errno, {ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG})) return std::nullopt;
    return failure({path, errno});
}

bool areOne(const std::string& first, const std::string& second) {
    struct stat one{}, other{};
    return ::stat(first.c_str(), &one) == 0 && ::stat(second.c_str(), &other) == 0 && areOne(one, other);
}

bool isLink(const std::string& path) {
    struct stat status{};
    return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

bool isDangling(const std::string& path) { return isLink(path) && !Files::exists(path); }

bool areOnOneVolume(std::initializer_list<std::string> paths) {
    std::set<dev_t> volumes;
    for (const std::string& path : paths) {
        struct stat status{};
        if (::stat(path.c_str(), &status) != 0) return false;
        volumes.insert(status.st_dev);
    }
    return volumes.size() == 1;
}

std::expected<void, ModelStoreError> copy(const std::string& from, const std::string& to,
                                          const std::string& temporary) {
    ::unlink(temporary.c_str());
    const auto attempt = [&]() -> std::expected<void, ModelStoreError> {
        if (auto written = write(from, temporary); !written) return failure(written.error());
        const auto isWhole = haveSameBytes(from, temporary);
        if (!isWhole) return std::unexpected{isWhole.error()};
        if (!*isWhole) return std::unexpected{ModelStoreError{"a model layer did not copy whole"}};
        if (std::rename(temporary.c_str(), to.c_str()) != 0) return failure({to, errno});
        return {};
    };
    auto copied = attempt();
    if (!copied) ::unlink(temporary.c_str());
    return copied;
}

std::expected<void, ModelStoreError> sync(const std::string& folder, const std::string& last) {
    for (std::filesystem::path path{folder};; path = path.parent_path()) {
        const FileDescriptor opened{::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
        // A folder above the store may be closed to us, and some file systems cannot do it for a folder.
        if (opened && ::fsync(opened.get()) != 0 && !isOneOf(errno, {EINVAL, ENOTSUP, EROFS, EBADF})) {
            return failure({path.string(), errno});
        }
        if (path == last || path == path.parent_path()) return {};
    }
}

}  // namespace larkmoor::StoreFile
