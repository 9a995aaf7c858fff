#include "LarkmoorResources/SenkoSeed.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <expected>
#include <filesystem>
#include <system_error>
#include <vector>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor::SenkoSeed {

namespace fs = std::filesystem;

namespace {

using Copied = std::expected<void, FileError>;

/// No model is nested as deep; a folder that is its own mount point would never end.
constexpr int maxDepth = 32;
constexpr mode_t privateFile = 0600, privateFolder = 0700;

std::unexpected<FileError> failure(const std::string& path, int code = errno) {
    return std::unexpected(FileError{path, code});
}

std::string stagingPrefix(const fs::path& target) { return "." + target.filename().string() + ".seeding-"; }

/// What the disk has not taken would be an empty file under its final name after a power failure.
Copied flushed(int descriptor, const std::string& path) {
    if (::fsync(descriptor) != 0) return failure(path);
    return {};
}

Copied flushFolder(const std::string& path) {
    const FileDescriptor folder{::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    return folder ? flushed(folder.get(), path) : failure(path);
}

Copied notCopied(const std::string& path) {
    return std::unexpected(FileError{path, EINVAL, "it is neither a folder nor a regular file"});
}

Copied copyFile(const std::string& from, const std::string& to) {
    // It may have become a link or a pipe since the folder was listed: neither is followed or waited for.
    const FileDescriptor source{::open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    struct stat status{};
    if (!source || ::fstat(source.get(), &status) != 0) return failure(from);
    if (!S_ISREG(status.st_mode)) return notCopied(from);
    FileDescriptor copy{::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, privateFile)};
    if (!copy) return failure(to);
    Bytes piece(std::size_t{128} << 10U);
    for (;;) {
        const ssize_t count = ::read(source.get(), piece.data(), piece.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failure(from);
        if (count == 0) break;
        const auto written = BytesView{piece}.first(static_cast<std::size_t>(count));
        if (auto landed = Files::writeAll(copy.get(), written, to); !landed) return landed;
    }
    if (auto landed = flushed(copy.get(), to); !landed) return landed;
    if (::close(copy.release()) != 0) return failure(to);
    return {};
}

Copied copyFolder(const std::string& from, const std::string& to, int depth = 0) {
    if (depth == maxDepth) return std::unexpected(FileError{from, ELOOP, "its folders are nested too deep"});
    const auto names = Files::names(from);
    if (!names) return std::unexpected(FileError{from, EIO, "it cannot be listed"});
    if (::mkdir(to.c_str(), privateFolder) != 0) return failure(to);
    for (const std::string& name : *names) {
        const std::string source = from + "/" + name, copy = to + "/" + name;
        struct stat status{};
        if (::lstat(source.c_str(), &status) != 0) return failure(source);
        auto copied = S_ISDIR(status.st_mode)   ? copyFolder(source, copy, depth + 1)
                      : S_ISREG(status.st_mode) ? copyFile(source, copy)
                                                : notCopied(source);
        if (!copied) return copied;
    }
    return flushFolder(to);
}

/// Nothing if the target may be made; otherwise why it may not.
std::optional<Outcome> obstacle(const std::string& target) {
    struct stat status{};
    if (::lstat(target.c_str(), &status) != 0) {
        if (errno == ENOENT) return std::nullopt;
        return OutcomeCases::Failed{FileError{target, errno}.description()};
    }
    const auto entries = Files::names(target);
    if (entries && !entries->empty()) return OutcomeCases::Present{};
    if (S_ISLNK(status.st_mode)) return OutcomeCases::Failed{FileError{target, EINVAL, "it is a link"}.description()};
    if (!S_ISDIR(status.st_mode)) return OutcomeCases::Failed{FileError{target, ENOTDIR}.description()};
    if (!entries) return OutcomeCases::Failed{FileError{target, EACCES}.description()};
    return std::nullopt;
}

/// From the bundle to the staging folder, verified, to its place. The error is for a person.
std::expected<void, std::string> install(const std::string& bundle, const Census& expected, const std::string& staging,
                                         const std::string& target) {
    const auto words = [](const FileError& error) { return std::unexpected(error.description()); };
    if (auto copied = copyFolder(bundle, staging); !copied) return words(copied.error());
    const auto copy = census(staging);
    if (!copy) return words({staging, EIO});
    if (*copy != expected) {
        return std::unexpected(fmt::format("verify failed: files {}→{} bytes {}→{}", expected.files, copy->files,
                                           expected.bytes, copy->bytes));
    }
    // Takes the place of an empty folder in the same step, and fails if it is not empty any more.
    if (std::rename(staging.c_str(), target.c_str()) != 0) return words({target, errno});
    // If this is lost, so is the rename as a whole.
    static_cast<void>(flushFolder(fs::path{target}.parent_path().string()));
    return {};
}

bool isGone(pid_t process) { return process == ::getpid() || (::kill(process, 0) != 0 && errno == ESRCH); }

}  // namespace

std::optional<Census> census(const std::string& folder) {
    Census found;
    std::error_code failed;
    for (fs::recursive_directory_iterator entry{folder, failed}, end; !failed && entry != end;
         entry.increment(failed)) {
        if (entry->symlink_status(failed).type() != fs::file_type::regular) continue;
        ++found.files;
        found.bytes += static_cast<std::int64_t>(entry->file_size(failed));
        if (failed) return std::nullopt;
    }
    if (failed) return std::nullopt;
    return found;
}

Outcome seed(const std::string& bundleDir, const std::string& supportDir) {
    removeAbandoned(supportDir);
    const auto bundled = census(bundleDir);
    if (!bundled || bundled->files < 1) return OutcomeCases::BundleMissing{bundleDir};
    if (auto inTheWay = obstacle(supportDir)) return *std::move(inTheWay);
    const fs::path target{supportDir};
    if (auto made = Files::makeFolders(target.parent_path().string(), privateFolder); !made)
        return OutcomeCases::Failed{made.error().description()};
    const std::string staging = target.parent_path() / (stagingPrefix(target) + std::to_string(::getpid()));
    if (auto installed = install(bundleDir, *bundled, staging, supportDir); !installed) {
        std::error_code ignored;
        fs::remove_all(staging, ignored);
        return OutcomeCases::Failed{std::move(installed.error())};
    }
    return OutcomeCases::Seeded{.files = bundled->files, .bytes = bundled->bytes};
}

void removeAbandoned(const std::string& supportDir) {
    const fs::path target{supportDir};
    const std::string prefix = stagingPrefix(target);
    for (const std::string& name : Files::names(target.parent_path().string()).value_or(std::vector<std::string>{})) {
        if (!name.starts_with(prefix)) continue;
        pid_t process = 0;
        const char* const end = name.data() + name.size();
        const auto [stop, bad] = std::from_chars(name.data() + prefix.size(), end, process);
        if (bad != std::errc{} || stop != end || process < 1 || !isGone(process)) continue;
        const fs::path staging = target.parent_path() / name;
        std::error_code ignored;
        if (fs::symlink_status(staging, ignored).type() == fs::file_type::directory) fs::remove_all(staging, ignored);
    }
}

}  // namespace larkmoor::SenkoSeed
