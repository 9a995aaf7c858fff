#include "LarkmoorConnectors/ConfigFile/Transaction.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <expected>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/ConfigFile/AtomicWrite.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

namespace larkmoor::Transaction {

namespace {

using Outcome = std::expected<void, ConfigFileError>;

/// A file that somebody else has removed meanwhile is as it shall be.
Outcome removeFile(const std::string& path) {
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) return {};
    return std::unexpected{ConfigFileError::writeFailed(path, errno)};
}

/// The state of one commit, from its first copy to its end.
class Commit {
  public:
    Commit(std::vector<const FileChange*> changes, std::chrono::system_clock::time_point at,
           const std::function<void()>& beforeRename)
        : changes_(std::move(changes)), at_(at), beforeRename_(beforeRename) {}

    TransactionResult run() {
        for (const FileChange* change : changes_) {
            if (auto made = copy(*change); !made) {
                return rolledBack({change->label, fmt::format("this file was not copied, so nothing was written — {}",
                                                              made.error().description())});
            }
        }
        for (const FileChange* change : changes_) {
            attempted_.push_back(change);
            if (auto made = apply(*change); !made) {
                return rolledBack({change->label, fmt::format("this file was not written, so nothing was changed — {}",
                                                              made.error().description())});
            }
        }
        for (const FileChange* change : changes_) {
            const auto copy = copyOf_.find(change->path);
            Backup::prune(change->path, copy == copyOf_.end() ? std::nullopt : std::optional{copy->second});
        }
        return TransactionResult::Committed{std::move(backups_), std::move(observations_)};
    }

  private:
    Outcome copy(const FileChange& change) {
        auto made = Backup::make(change.path, at_);
        if (!made) return std::unexpected{std::move(made.error())};
        if (const std::optional<std::string>& path = *made) {
            backups_.push_back(*path);
            copyOf_[change.path] = *path;
            observations_.push_back({*path, "a copy of the file was made here first"});
        }
        return {};
    }

    Outcome apply(const FileChange& change) {
        if (change.after) return AtomicWrite::write(*change.after, change.path, beforeRename_);
        if (const auto mode = Files::permissions(change.path)) modeOfRemoved_[change.path] = *mode;
        return removeFile(change.path);
    }

    Outcome restore(const FileChange& change) const {
        if (change.before) {
            const auto mode = modeOfRemoved_.find(change.path);
            return AtomicWrite::write(*change.before, change.path, {},
                                      mode == modeOfRemoved_.end() ? std::nullopt : std::optional{mode->second});
        }
        return removeFile(change.path);
    }

    TransactionResult rolledBack(Observation cause) const {
        std::vector<Observation> observations{std::move(cause)};
        std::set<std::string> kept;
        for (const FileChange* change : attempted_) {
            const auto restored = restore(*change);
            if (restored) continue;
            observations.push_back({change->label, fmt::format("this file was not put back as it was — {}",
                                                               restored.error().description())});
            const auto copy = copyOf_.find(change->path);
            if (copy == copyOf_.end()) continue;
            kept.insert(copy->second);
            observations.push_back({copy->second,
                                    "a copy of the file from before the change was kept here, because the file was not "
                                    "put back as it was"});
        }
        for (const std::string& copy : backups_) {
            if (!kept.contains(copy)) ::unlink(copy.c_str());
        }
        return TransactionResult::Refused{std::move(observations)};
    }

    std::vector<const FileChange*> changes_;
    std::chrono::system_clock::time_point at_;
    const std::function<void()>& beforeRename_;
    std::vector<std::string> backups_;
    std::map<std::string, std::string> copyOf_;    ///< the copy made in this commit, by the change's path
    std::map<std::string, mode_t> modeOfRemoved_;  ///< by the change's path: a private file comes back private
    std::vector<Observation> observations_;
    std::vector<const FileChange*> attempted_;
};

}  // namespace

namespace {

/// Where the label is a link to a file that is not there yet, the folder in the way is another than the label's.
std::vector<Observation> refusal(const FileChange& change, const UnwritableReason& reason) {
    if (!reason.liesInTheFolder) return {{change.label, reason.text}};
    if (Files::exists(change.label) || !ConfigPath::isLink(change.label)) {
        return {{ConfigPath::folder(change.label), reason.text}};
    }
    return {{change.label, fmt::format("this link leads to {}, where there is no file", change.path)},
            {ConfigPath::folder(change.path), reason.text}};
}

}  // namespace

std::optional<UnwritableReason> unwritableReason(const std::string& path) {
    struct stat status{};
    const bool isThere = ::stat(path.c_str(), &status) == 0;
    if (isThere && S_ISDIR(status.st_mode)) {
        return UnwritableReason{"there is a directory at this path, so nothing was written", false};
    }
    if (isThere && !S_ISREG(status.st_mode)) {
        return UnwritableReason{"there is no regular file at this path, so nothing was written", false};
    }
    if (!isThere && ConfigPath::isLink(path)) {
        return UnwritableReason{"this link leads to no file, so nothing was written", false};
    }
    if (isThere && ::access(path.c_str(), W_OK) != 0) {
        return UnwritableReason{"this file cannot be written by this user, so nothing was written", false};
    }
    const std::string folder = ConfigPath::folder(path);
    if (Files::isAbsent(folder) || (::stat(folder.c_str(), &status) == 0 && !S_ISDIR(status.st_mode))) {
        return UnwritableReason{"this folder is not there, so nothing was written", true};
    }
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        return UnwritableReason{"this folder cannot be written by this user, so nothing was written", true};
    }
    return std::nullopt;
}

TransactionResult commit(std::span<const FileChange> changes, std::chrono::system_clock::time_point at,
                         const std::function<void()>& beforeRename) {
    std::vector<const FileChange*> kept;
    for (const FileChange& change : changes) {
        if (change.before != change.after) kept.push_back(&change);
    }
    if (kept.empty()) return TransactionResult::Unchanged{};
    for (const FileChange* change : kept) {
        const auto reason = unwritableReason(change->path);
        if (reason) return TransactionResult::Refused{refusal(*change, *reason)};
    }
    return Commit{std::move(kept), at, beforeRename}.run();
}

}  // namespace larkmoor::Transaction
