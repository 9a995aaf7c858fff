#include "LarkmoorConnectors/ConfigFile/AtomicWrite.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <functional>
#include <tuple>
#include <utility>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/UUID.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

namespace larkmoor::AtomicWrite {

std::expected<void, ConfigFileError> write(BytesView bytes, const std::string& path,
                                           const std::function<void()>& beforeRename, std::optional<mode_t> modeIfNew) {
    const std::string temporary =
        ConfigPath::sibling(path, fmt::format(".{}.larkmoor-{}.tmp", ConfigPath::lastComponent(path), newUUID()));
    // The temporary file of a private file is private from its first byte.
    const mode_t firstMode = Files::exists(path) || modeIfNew ? 0600 : 0666;
    if (auto written = Files::create(temporary, bytes, firstMode); !written) {
        return std::unexpected{ConfigFileError::writeFailed(path, written.error().code)};
    }
    const auto mode = Files::permissions(path);
    if (mode || modeIfNew) static_cast<void>(::chmod(temporary.c_str(), mode.value_or(modeIfNew.value_or(0))));
    if (beforeRename) beforeRename();
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        const int code = errno;
        ::unlink(temporary.c_str());
        return std::unexpected{ConfigFileError::writeFailed(path, code)};
    }
    return {};
}

}  // namespace larkmoor::AtomicWrite

namespace larkmoor::Backup {

namespace {

constexpr std::size_t copiesKept = 2;

std::string prefix(std::string_view path) {
    return fmt::format("{}.larkmoor-backup-", ConfigPath::lastComponent(path));
}

std::string stamp(std::chrono::system_clock::time_point at) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(at));
    std::tm local{};
    ::tzset();  // the time zone may have changed since the process began
    ::localtime_r(&seconds, &local);
    return fmt::format("{:04}{:02}{:02}-{:02}{:02}{:02}", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                       local.tm_hour, local.tm_min, local.tm_sec);
}

std::string freePath(const std::string& base) {
    std::string path = base;
    for (int counter = 2; Files::isTaken(path); ++counter) path = fmt::format("{}-{:02}", base, counter);
    return path;
}

struct Copy {
    std::pair<std::time_t, long> modified;  ///< seconds and nanoseconds
    std::string path;

    /// On a disk that stores coarse times, the names of one second are in order by their lengths first: -99, -100.
    bool operator<(const Copy& other) const {
        return std::tuple{modified, path.size(), std::string_view{path}} <
               std::tuple{other.modified, other.path.size(), std::string_view{other.path}};
    }
};

/// Oldest first. Only regular files are copies.
std::vector<Copy> copies(const std::string& of) {
    std::vector<Copy> copies;
    for (const std::string& name : Files::names(ConfigPath::folder(of)).value_or(std::vector<std::string>{})) {
        struct stat status{};
        std::string path = ConfigPath::sibling(of, name);
        if (!name.starts_with(prefix(of)) || ::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
        copies.push_back({{status.st_mtim.tv_sec, status.st_mtim.tv_nsec}, std::move(path)});
    }
    std::ranges::sort(copies, std::less{});
    return copies;
}

/// The file system's clock is coarse, and may have been set back.
void makeNewest(const std::string& copy, const std::string& of) {
    const std::vector<Copy> all = copies(of);
    if (all.empty() || all.back().path == copy) return;
    constexpr long nanosecondsPerSecond = 1'000'000'000;
    auto [seconds, nanoseconds] = all.back().modified;
    if (++nanoseconds == nanosecondsPerSecond) ++seconds, nanoseconds = 0;
    const timespec times[] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
    ::utimensat(AT_FDCWD, copy.c_str(), times, AT_SYMLINK_NOFOLLOW);
}

}  // namespace

std::expected<std::optional<std::string>, ConfigFileError> make(const std::string& of,
                                                                std::chrono::system_clock::time_point at) {
    const auto bytes = Files::read(of);
    if (!bytes) return std::nullopt;
    std::string copy = freePath(ConfigPath::sibling(of, prefix(of) + stamp(at)));
    if (auto written = Files::create(copy, *bytes, Files::permissions(of).value_or(0600)); !written) {
        return std::unexpected{ConfigFileError::writeFailed(copy, written.error().code)};
    }
    if (Files::read(copy) != bytes) {
        ::unlink(copy.c_str());
        return std::unexpected{ConfigFileError::writeFailed(copy, "the copy did not match the original")};
    }
    makeNewest(copy, of);
    return copy;
}

std::vector<std::string> all(const std::string& of) {
    std::vector<std::string> paths;
    for (Copy& copy : copies(of)) paths.push_back(std::move(copy.path));
    return paths;
}

std::vector<std::string> prune(const std::string& of, const std::optional<std::string>& made) {
    std::vector<std::string> removed = all(of);
    const bool isMadeThere = made && std::erase(removed, *made) > 0;
    removed.resize(removed.size() - std::min(removed.size(), copiesKept - (isMadeThere ? 1 : 0)));
    std::erase_if(removed, [](const std::string& copy) { return ::unlink(copy.c_str()) != 0; });
    return removed;
}

}  // namespace larkmoor::Backup
