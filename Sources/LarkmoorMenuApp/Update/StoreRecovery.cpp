#include "LarkmoorMenuApp/Update/StoreRecovery.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <iterator>

#include "LarkmoorBase/DurableFiles.h"
#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorPlatform/Process.h"
#include "LarkmoorUpdate/Dance/MigrationDance.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor {

namespace fs = std::filesystem;

namespace {

std::string folderOf(const std::string& path) { return fs::path{path}.parent_path().string(); }

struct DatedLog {
    std::chrono::system_clock::time_point modified;
    std::string path;
};

/// Newest first; one whose date cannot be had is the oldest.
std::vector<DatedLog> applyLogs(const std::string& store) {
    std::vector<DatedLog> logs;
    const std::string folder = folderOf(store);
    const std::string beginning = fs::path{store}.filename().string() + ".migrate.";
    for (const std::string& name : Files::names(folder).value_or(std::vector<std::string>{})) {
        if (!name.starts_with(beginning) || !name.ends_with(".log")) continue;
        const std::string path = (fs::path{folder} / name).string();
        logs.push_back({Files::modified(path).value_or(std::chrono::system_clock::time_point::min()), path});
    }
    std::ranges::sort(logs, std::ranges::greater{}, &DatedLog::modified);
    return logs;
}

/// Of a regular file; a link is none.
std::optional<std::int64_t> sizeOf(const std::string& path) {
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return status.st_size;
}

bool isPlaintextSQLite(const std::string& path) {
    constexpr std::string_view header = "SQLite format 3";
    std::array<char, header.size()> start{};
    const FileDescriptor file{::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    return file && ::read(file.get(), start.data(), start.size()) == static_cast<ssize_t>(start.size()) &&
           std::string_view{start.data(), start.size()} == header;
}

/// So that what is put back does not look as if somebody had written to it since.
void keepDate(const std::string& from, const std::string& to) {
    struct stat status{};
    if (::stat(from.c_str(), &status) != 0) return;
    const std::array times{status.st_mtim, status.st_mtim};
    ::utimensat(AT_FDCWD, to.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
}

/// The file itself where the path is a link, so that the link stays and what SQLite keeps beside the file is found.
std::string resolved(const std::string& store) {
    std::error_code failed;
    const fs::path real = fs::canonical(store, failed);
    return failed ? store : real.string();
}

std::string copyBeside(const std::string& resolvedStore) { return resolvedStore + ".restoring"; }

/// A Migrator of this user's that was started to apply to the store, with a latch or before it has one.
std::optional<std::int32_t> applyingMigrator(const std::string& store) {
    return ProcessTable::startedWith({"--db", store, "--apply"});
}

/// A link that leads nowhere is there, and so is what we may not look at.
bool stands(const std::string& path) {
    struct stat status{};
    return ::lstat(path.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

/// Whether somebody has written to a store that nobody was to write to after the mark and the log.
bool isUsedSince(const std::string& store, const std::string& log) {
    constexpr std::chrono::seconds tolerance{60};
    const auto older = std::chrono::system_clock::time_point::min();
    const auto date = [&](const std::string& path) { return Files::modified(path).value_or(older); };
    const auto known = std::max(date(StoreRecovery::markPath(store)), date(log));
    const std::string file = resolved(store), wal = file + "-wal";
    // SQLite makes an empty one for whoever reads.
    return std::max(date(file), sizeOf(wal).value_or(0) > 0 ? date(wal) : older) > known + tolerance;
}

constexpr std::string_view foundBad = "\nfound bad";

/// What the mark's text says: the log of the apply, and whether its work was found bad. A note that was cut off by a
/// full disk is one.
struct Mark {
    std::string log;
    bool isFoundBad = false;

    static std::optional<Mark> read(const std::string& store) {
        const auto bytes = Files::read(StoreRecovery::markPath(store));
        if (!bytes || bytes->empty()) return std::nullopt;
        const std::string_view text = asText(*bytes);
        return Mark{.log = std::string{text.substr(0, text.find('\n'))}, .isFoundBad = text.contains('\n')};
    }
};

/// What a mark tells of which no Migrator holds. One that lowered its latch has called its work good: without a backup
/// nothing is left to judge, unless that work was found bad.
StandingLatch toldByMark(const std::string& store) {
    const StandingLatch nothing = StandingLatch::None{};
    const auto mark = Mark::read(store);
    if (!mark || isUsedSince(store, mark->log)) return nothing;
    const auto lines = StoreRecovery::tellingLines(mark->log);
    const auto backup = VouchedBackup::read(lines);
    const auto pid = StandingLatch::pid(lines);
    const bool canBeUndone = pid && backup && StoreRestore::inspect(*backup).is<RestoreOutcome::Restored>();
    return canBeUndone || mark->isFoundBad ? StandingLatch{StandingLatch::Stale{pid}} : nothing;
}

/// What is known of a migration whose latch is not there, or does not tell.
StandingLatch withoutLatch(const std::string& store) {
    if (const auto pid = applyingMigrator(store)) return StandingLatch::HeldByLiveMigrator{*pid};
    return toldByMark(store);
}

}  // namespace

std::string StoreRecovery::latchPath(const std::string& store) {
    return store + std::string{MigrationDance::latchSuffix};
}

std::optional<FileDescriptor> StoreRecovery::lock(const std::string& store) {
    FileDescriptor folder{::open(folderOf(store).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (folder && ::flock(folder.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return std::nullopt;
    return folder;
}

std::string StoreRecovery::markPath(const std::string& store) { return store + ".migration-unjudged"; }

bool StoreRecovery::isLatched(const std::string& store) { return stands(latchPath(store)) || stands(markPath(store)); }

StandingLatch StoreRecovery::standingLatch(const std::string& store) {
    if (!stands(latchPath(store))) return stands(markPath(store)) ? withoutLatch(store) : StandingLatch::None{};
    const auto bytes = Files::read(latchPath(store));
    StandingLatch latch = StandingLatch::judge(bytes ? asText(*bytes) : std::string_view{},
                                               [](std::int32_t pid) { return ProcessTable::start(pid); });
    const auto* stale = latch.as<StandingLatch::Stale>();
    if (stale == nullptr) return latch;
    if (stale->pid) {
        // Start times are read on a clock that every boot sets once, in a folder which may have gone meanwhile.
        return ProcessTable::isStartedWith(*stale->pid, {store}) ? StandingLatch::HeldByLiveMigrator{*stale->pid}
                                                                 : latch;
    }
    StandingLatch told = withoutLatch(store);
    return told.is<StandingLatch::None>() ? latch : told;
}

void StoreRecovery::killMigrator(const std::string& store) {
    const StandingLatch latch = standingLatch(store);
    const auto* held = latch.as<StandingLatch::HeldByLiveMigrator>();
    // The runner makes each program the leader of a group.
    if (held != nullptr && ::killpg(held->pid, SIGKILL) != 0) ::kill(held->pid, SIGKILL);
}

bool StoreRecovery::mark(const std::string& store, const std::string& log) {
    const std::string path = markPath(store);
    ::unlink(path.c_str());
    return DurableFiles::create(path, asBytes(log), ClientStoreMode::file) && DurableFiles::syncFolder(folderOf(store));
}

void StoreRecovery::touchMark(const std::string& store) {
    const FileDescriptor file{::open(markPath(store).c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC)};
    if (file && ::futimens(file.get(), nullptr) == 0) ::fsync(file.get());
}

void StoreRecovery::markFoundBad(const std::string& store) {
    const auto mark = Mark::read(store);
    touchMark(store);
    if (!mark || mark->isFoundBad) return;
    // Behind what is there, where a full disk has room for it.
    const FileDescriptor file{::open(markPath(store).c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_CLOEXEC)};
    if (file && ::write(file.get(), foundBad.data(), foundBad.size()) > 0) ::fsync(file.get());
}

void StoreRecovery::removeMark(const std::string& store) {
    if (::unlink(markPath(store).c_str()) == 0) (void)DurableFiles::syncFolder(folderOf(store));
}

void StoreRecovery::removeMootMark(const std::string& store) {
    if (standingLatch(store).is<StandingLatch::None>()) removeMark(store);
}

void StoreRecovery::lowerLatch(const std::string& store) {
    if (::unlink(latchPath(store).c_str()) == 0) (void)DurableFiles::syncFolder(folderOf(store));
    removeMark(store);
}

void StoreRecovery::removeAbandonedCopies(const std::string& store) { ::unlink(copyBeside(resolved(store)).c_str()); }

std::string StoreRecovery::applyLog(const std::string& store, std::int64_t epochSeconds) {
    return fmt::format("{}.migrate.{}.log", store, epochSeconds);
}

std::vector<std::string> StoreRecovery::tellingLines(const std::string& log) {
    constexpr std::size_t maxLine = std::size_t{64} << 10U, maxLines = 1000;
    // Of the backups the last counts; any line may name the process.
    std::vector<std::string> telling;
    std::deque<std::string> backups;
    const FileDescriptor file{::open(log.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
    struct stat status{};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return telling;
    std::string line;
    const auto endLine = [&] {
        if (line.starts_with("LATCH   ") && telling.size() < maxLines) telling.push_back(line);
        if (line.starts_with("BACKUP  ")) backups.push_back(line);
        if (backups.size() > maxLines) backups.pop_front();
        line.clear();
    };
    std::array<char, std::size_t{64} << 10U> piece{};
    for (ssize_t count = 0; (count = ::read(file.get(), piece.data(), piece.size())) > 0;) {
        for (const char byte : std::string_view{piece.data(), static_cast<std::size_t>(count)}) {
            if (byte == '\n') {
                endLine();
            } else if (line.size() < maxLine) {
                line += byte;
            }
        }
    }
    endLine();
    telling.insert(telling.end(), std::move_iterator{backups.begin()}, std::move_iterator{backups.end()});
    return telling;
}

std::optional<std::vector<std::string>> StoreRecovery::killedApplyLog(const std::string& store, std::int32_t pid) {
    std::vector<std::string> logs;
    if (auto mark = Mark::read(store)) logs.push_back(std::move(mark->log));
    for (DatedLog& log : applyLogs(store)) logs.push_back(std::move(log.path));
    for (const std::string& log : logs) {
        auto found = tellingLines(log);
        if (StandingLatch::log(found, pid)) return found;
    }
    return std::nullopt;
}

StoreRestore::Outcome StoreRestore::inspect(const VouchedBackup& backup) {
    return Outcome::ofFile(backup, sizeOf(backup.path), isPlaintextSQLite(backup.path));
}

StoreRestore::Outcome StoreRestore::put(const VouchedBackup& backup, const std::string& over) {
    const auto size = sizeOf(backup.path);
    Outcome inspected = inspect(backup);
    if (inspected.is<Outcome::Refused>()) return inspected;
    const std::string store = resolved(over);
    // Its disk is away: the link would be replaced, and the store be there twice one day.
    std::error_code unknown;
    if (fs::is_symlink(store, unknown)) {
        return Outcome::Refused{
            fmt::format("{} could not be put back over {}: it is a link that leads nowhere", backup.path, over)};
    }
    const std::string staging = copyBeside(store);
    ::unlink(staging.c_str());
    const auto copied = DurableFiles::copy(backup.path, staging, ClientStoreMode::file);
    // One that another process writes meanwhile is not the copy that was measured.
    if (!copied || std::cmp_not_equal(*copied, size.value_or(0))) {
        if (copied) ::unlink(staging.c_str());
        return Outcome::Refused{backup.path + " could not be copied beside the store"};
    }
    static_cast<void>(::chmod(staging.c_str(), ClientStoreMode::file));
    keepDate(backup.path, staging);
    if (std::rename(staging.c_str(), store.c_str()) != 0) {
        const FileError error{store, errno};
        ::unlink(staging.c_str());
        return Outcome::Refused{fmt::format("{} could not be put back over {}: {}", backup.path, over, error.reason())};
    }
    for (const char* sidecar : {"-wal", "-shm", "-journal"}) ::unlink((store + sidecar).c_str());
    (void)DurableFiles::syncFolder(folderOf(store));
    return inspected;
}

}  // namespace larkmoor
