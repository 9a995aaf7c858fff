// The ledger of postponed builds as a file in the store folder. What could not be written, since the folder was gone,
// read-only or full, is remembered as long as the process lives.
#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorUpdate/Dance/Verdict.h"

namespace larkmoor {

/// Any thread, one for each file; reading and writing wait for the disk. A ledger is settled by one thread at a time.
class PostponementLedger {
  public:
    using Record = PostponedUpdate::Record;

    explicit PostponementLedger(const std::string& folder);

    const std::string& path() const { return path_; }
    std::vector<Record> onDiskRecords() const;
    /// Those of the file, and then those that should be in it.
    std::vector<Record> records() const;
    /// The last of them.
    std::optional<Record> record() const;
    bool postponed(std::string_view version) const;
    /// For the menu; nothing if no build is postponed, as far as was read last. Does not wait.
    std::optional<std::string> sentence() const;

    /// Enters a postponement for good, and clears the build's own after a success.
    MarkerWrite settle(const MigrationVerdict& verdict, std::string_view build);

  private:
    MarkerWrite settled(const MigrationVerdict& verdict, std::string_view build);
    MarkerWrite writeOnce(const Record& record);
    MarkerWrite replace(std::vector<Record> with, const std::optional<Record>& failing);
    void remember(const Record& record);
    void forget(std::string_view version);

    const std::string path_;
    mutable std::mutex mutex_;
    std::vector<Record> unwritten_;  ///< guarded by mutex_
    mutable std::atomic<bool> hasRecords_ = false;
};

}  // namespace larkmoor
