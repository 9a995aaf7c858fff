#include "LarkmoorPlatform/Folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/fs.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <ranges>
#include <system_error>
#include <utility>
#include <vector>

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor::Folders {

namespace {

namespace fs = std::filesystem;

Done failed(int code) { return std::unexpected{std::string{std::strerror(code)}}; }

/// An existing target is a failure.
Done renameExclusively(const std::string& from, const std::string& to) {
    return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 ? Done{} : failed(errno);
}

/// Opens a folder without ever leaving `folder`: by no link, no ".." and no mount.
FileDescriptor openBeneath(int folder, const std::string& path) {
    open_how how{};
    how.flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV;
    return FileDescriptor{static_cast<int>(::syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how))};
}

Done removeEntry(int folder, const std::string& name);

Done removeChildren(FileDescriptor folder) {
    const std::unique_ptr<DIR, int (*)(DIR*)> listing{::fdopendir(folder.get()), &::closedir};
    if (!listing) return failed(errno);
    const int descriptor = folder.release();  // the listing closes it
    Done removed;
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        if (Done done = removeEntry(descriptor, name); !done) removed = std::move(done);
        errno = 0;
    }
    return errno == 0 ? removed : failed(errno);
}

Done removeEntry(int folder, const std::string& name) {
    if (::unlinkat(folder, name.c_str(), 0) == 0 || errno == ENOENT) return {};
    if (errno != EISDIR && errno != EPERM) return failed(errno);
    FileDescriptor child = openBeneath(folder, name);
    if (!child) return failed(errno);
    // A folder of ours may be closed for writing, such as a copy of one on a read-only medium.
    ::fchmod(child.get(), S_IRWXU);
    if (Done done = removeChildren(std::move(child)); !done) return done;
    return ::unlinkat(folder, name.c_str(), AT_REMOVEDIR) == 0 ? Done{} : failed(errno);
}

}  // namespace

Done copyTree(const std::string& from, const std::string& to) {
    const fs::path target{to};
    const fs::path copy = target.parent_path() / fmt::format(".{}.copying", target.filename().string());
    std::error_code error;
    fs::remove_all(copy, error);
    if (!error) fs::copy(from, copy, fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
    Done done = error ? std::unexpected{error.message()} : renameExclusively(copy.string(), to);
    if (!done) fs::remove_all(copy, error);
    return done;
}

Done makeAbsolute(const std::string& link) {
    std::error_code error;
    const fs::path path{link}, target = fs::read_symlink(path, error);
    if (error || target.is_absolute()) return {};
    // Plain, since a folder on the way may be moved, too.
    fs::path plain = fs::weakly_canonical(path.parent_path() / target, error);
    // It leads in a circle or through a closed folder.
    if (error) plain = (path.parent_path() / target).lexically_normal();
    error.clear();
    const fs::path replacement = path.parent_path() / fmt::format(".{}{}", path.filename().string(), linkSuffix);
    fs::remove(replacement, error);
    if (!error) fs::create_symlink(plain, replacement, error);
    if (!error) fs::rename(replacement, path, error);
    return error ? Done{std::unexpected{error.message()}} : Done{};
}

Done exchange(const std::string& one, const std::string& other) {
    return ::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0 ? Done{} : failed(errno);
}

std::optional<Identity> identity(const std::string& path) {
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return std::nullopt;
    return Identity{.device = status.st_dev, .number = status.st_ino};
}

Done sync(const std::string& path) {
    const FileDescriptor folder{::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    return folder && ::syncfs(folder.get()) == 0 ? Done{} : failed(errno);
}

FileDescriptor lock(const std::string& path) {
    FileDescriptor folder{::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    struct stat status{};
    constexpr mode_t othersWrite = S_IWGRP | S_IWOTH;
    if (!folder || ::fstat(folder.get(), &status) != 0) return {};
    if (status.st_uid != ::geteuid() || (status.st_mode & othersWrite) != 0) return errno = EPERM, FileDescriptor{};
    if (::flock(folder.get(), LOCK_EX | LOCK_NB) != 0) return {};
    // Whoever held it until now may have removed the folder.
    const bool isSame = identity(path) == Identity{.device = status.st_dev, .number = status.st_ino};
    return isSame ? std::move(folder) : (errno = EWOULDBLOCK, FileDescriptor{});
}

Done move(const std::string& from, const std::string& to) {
    struct stat status{};
    if (::lstat(from.c_str(), &status) != 0) return failed(errno);
    Done done = makeAbsolute(from);
    if (done) done = renameExclusively(from, to);
    if (done || done.error() != std::strerror(EXDEV)) return done;
    if (::lstat(to.c_str(), &status) == 0) return failed(EEXIST);
    done = copyTree(from, to);
    if (!done) return done;
    // A process that is killed while it removes must not leave both names.
    const fs::path source{from},
        aside = source.parent_path() / fmt::format(".{}{}", source.filename().string(), asideSuffix);
    std::error_code error;
    fs::remove_all(aside, error);
    if (!error) fs::rename(source, aside, error);
    if (!error) fs::remove_all(aside, error);
    return error ? Done{std::unexpected{error.message()}} : Done{};
}

Done removeTree(const std::string& root, const std::string& path) {
    if (!path.starts_with(root + "/")) return failed(EXDEV);
    const fs::path relative = path.substr(root.size() + 1);
    if (relative.filename() == "." || relative.filename() == "..") return failed(EINVAL);
    const FileDescriptor top{::open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
    if (!top) return failed(errno);
    const fs::path parent = relative.parent_path();
    const FileDescriptor folder = openBeneath(top.get(), parent.empty() ? "." : parent.string());
    if (!folder) return failed(errno);
    return removeEntry(folder.get(), relative.filename().string());
}

bool removeIfHollow(const std::string& path) {
    std::error_code error;
    if (fs::symlink_status(path, error).type() == fs::file_type::not_found) return true;
    const auto isFolder = [&error](const fs::directory_entry& entry) {
        return entry.symlink_status(error).type() == fs::file_type::directory;
    };
    if (!isFolder(fs::directory_entry{path, error})) return false;
    std::vector<fs::path> folders{path};
    for (fs::recursive_directory_iterator entry{path, error}, end; !error && entry != end; entry.increment(error)) {
        if (!isFolder(*entry)) return false;
        folders.push_back(entry->path());
    }
    if (error) return false;
    // Nothing that was made meanwhile goes with them.
    for (const fs::path& folder : folders | std::views::reverse) ::rmdir(folder.c_str());
    return true;
}

}  // namespace larkmoor::Folders
