// The ledger of postponed builds as a file in the store folder. What could not be written, since the folder was gone,
// read-only or full, is remembered as long as the process lives.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorUpdate/Dance/Verdict.h"

namespace larkmoor {

/// Main thread, which its small file does not hold up; one for each file.
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
    /// For the menu; nothing if no build is postponed.
    std::optional<std::string> sentence() const;

    /// Enters a postponement for good, and clears the build's own after a success.
    MarkerWrite settle(const MigrationVerdict& verdict, std::string_view build);

  private:
    MarkerWrite writeOnce(const Record& record);
    MarkerWrite replace(std::vector<Record> with, const std::optional<Record>& failing);
    void forget(std::string_view version);

    std::string path_;
    std::vector<Record> unwritten_;
};

}  // namespace larkmoor
