#include "LarkmoorBase/Files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/FileTemporaries.h"

namespace larkmoor {

std::string FileError::reason() const { return words ? std::string{*words} : std::generic_category().message(code); }

std::string FileError::description() const { return fmt::format("{}: {}", path, reason()); }

namespace {

/// What `mkostemp` replaces by a random text of the same length.
constexpr std::string_view random = "XXXXXX";

std::string temporaryPrefix(const std::filesystem::path& file) { return fmt::format(".{}.", file.filename().string()); }

}  // namespace

namespace Files {

namespace {

std::unexpected<FileError> failure(const std::string& path, int code) { return std::unexpected(FileError{path, code}); }

std::unexpected<FileError> tooLarge(const std::string& path, std::size_t limit) {
    return std::unexpected(FileError{path, EFBIG, limit == maxBytes ? "it is larger than 64 MiB" : "it is too large"});
}

}  // namespace

std::string standardized(std::string_view path) {
    const auto plain = std::filesystem::path{path}.lexically_normal();
    return (plain.has_filename() ? plain : plain.parent_path()).string();
}

std::expected<Bytes, FileError> read(const std::string& path, std::size_t limit) {
    // Without O_NONBLOCK, opening a pipe would wait for its writer. A socket cannot be opened at all.
    const FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)};
    if (!file && errno != ENXIO) return failure(path, errno);
    struct stat status{};
    if (file && ::fstat(file.get(), &status) != 0) return failure(path, errno);
    if (file && S_ISDIR(status.st_mode)) return failure(path, EISDIR);
    if (!file || !S_ISREG(status.st_mode)) {
        return std::unexpected(FileError{path, EINVAL, "it is not a regular file"});
    }
    return readAll(file.get(), path, limit);
}

std::expected<Bytes, FileError> readAll(int descriptor, const std::string& path, std::size_t limit) {
    struct stat status{};
    if (::fstat(descriptor, &status) != 0) return failure(path, errno);
    if (S_ISREG(status.st_mode) && status.st_size > static_cast<off_t>(limit)) return tooLarge(path, limit);
    Bytes bytes;
    // The size is a hint only: files of /proc have none, and others may grow while we read.
    constexpr std::size_t usualRoom = 1024;
    std::size_t room = status.st_size > 0 ? static_cast<std::size_t>(status.st_size) + 1 : usualRoom;
    std::size_t held = 0;
    for (;;) {
        bytes.resize(held + room);
        const ssize_t count = ::read(descriptor, bytes.data() + held, room);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failure(path, errno);
        if (count == 0) break;
        held += static_cast<std::size_t>(count);
        if (held > limit) return tooLarge(path, limit);
        room = bytes.size() > held ? bytes.size() - held : std::min(held, std::size_t{65536});
    }
    bytes.resize(held);
    return bytes;
}

std::expected<void, FileError> writeAll(int descriptor, BytesView bytes, const std::string& path) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failure(path, errno);
        if (count == 0) return failure(path, EIO);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return {};
}

std::expected<void, FileError> create(const std::string& path, BytesView bytes, mode_t mode) {
    FileDescriptor file{::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode)};
    if (!file) return failure(path, errno);
    auto landed = writeAll(file.get(), bytes, path);
    if (landed && ::close(file.release()) != 0) landed = failure(path, errno);
    if (!landed) ::unlink(path.c_str());
    return landed;
}

std::expected<void, FileError> replace(const std::string& path, BytesView bytes, mode_t mode) {
    const std::filesystem::path target{path};
    std::string temporary = (target.parent_path() / fmt::format("{}{}", temporaryPrefix(target), random)).string();
    FileDescriptor file{::mkostemp(temporary.data(), O_CLOEXEC)};
    if (!file) return failure(path, errno);
    auto landed = writeAll(file.get(), bytes, path);
    if (landed) static_cast<void>(::fchmod(file.get(), mode));
    if (landed && ::close(file.release()) != 0) landed = failure(path, errno);
    if (landed && std::rename(temporary.c_str(), path.c_str()) != 0) landed = failure(path, errno);
    if (!landed) ::unlink(temporary.c_str());
    return landed;
}

std::expected<void, FileError> makeFolders(const std::string& path, mode_t mode) {
    if (path.empty()) return {};
    struct stat status{};
    if (::stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) return {};
        return failure(path, ENOTDIR);
    }
    if (auto above = makeFolders(std::filesystem::path{path}.parent_path().string(), mode); !above) return above;
    if (::mkdir(path.c_str(), mode) == 0) return {};
    const int code = errno;
    // Somebody else may have made it meanwhile; a dangling link is no folder.
    if (code == EEXIST && ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return {};
    return failure(path, code);
}

std::optional<std::chrono::system_clock::time_point> modified(const std::string& path) {
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0) return std::nullopt;
    using Clock = std::chrono::system_clock;
    // A file's date may lie beyond the clock's range, which ends in 2262.
    constexpr auto last = std::chrono::floor<std::chrono::seconds>(Clock::duration::max()) - std::chrono::seconds{1};
    const auto seconds = std::clamp<std::chrono::seconds>(std::chrono::seconds{status.st_mtim.tv_sec}, -last, last);
    return Clock::time_point{seconds + std::chrono::nanoseconds{status.st_mtim.tv_nsec}};
}

bool exists(const std::string& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0;
}

bool isAbsent(const std::string& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR || errno == ELOOP);
}

bool isTaken(const std::string& path) {
    struct stat status{};
    return ::lstat(path.c_str(), &status) == 0;
}

bool isExecutable(const std::string& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

std::optional<mode_t> permissions(const std::string& path) {
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0) return std::nullopt;
    return status.st_mode & 07777;
}

std::optional<std::vector<std::string>> names(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code failed;
    for (std::filesystem::directory_iterator entry{folder, failed}, end; !failed && entry != end;
         entry.increment(failed)) {
        names.push_back(entry->path().filename().string());
    }
    if (failed) return std::nullopt;
    std::ranges::sort(names);
    return names;
}

}  // namespace Files

void FileTemporaries::sweep(const std::string& path) {
    const std::filesystem::path file{path};
    const std::string prefix = temporaryPrefix(file);
    for (const std::string& name : Files::names(file.parent_path().string()).value_or(std::vector<std::string>{})) {
        if (name.starts_with(prefix) && name.size() == prefix.size() + random.size()) {
            ::unlink((file.parent_path() / name).c_str());
        }
    }
}

}  // namespace larkmoor
