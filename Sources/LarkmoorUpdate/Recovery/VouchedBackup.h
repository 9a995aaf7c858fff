// The backup that a migration made of the store and vouched for in its apply log, and what its size may be. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor {

struct VouchedBackup {
    /// Sizes in bytes, both ends included.
    struct Window {
        std::int64_t low = 0, high = 0;

        bool contains(std::int64_t size) const { return size >= low && size <= high; }
        bool operator==(const Window&) const = default;
    };

    std::string path;
    std::optional<std::string> statedSize{};  ///< "512 B", "3.4 MB", "1.25 GB"

    /// The sizes from which the stated one may have been rounded; nothing if it cannot be read.
    std::optional<Window> bytes() const;

    /// The last backup that was verified.
    static std::optional<VouchedBackup> read(const std::vector<std::string>& fromApplyLog);

    bool operator==(const VouchedBackup&) const = default;
};

/// What became of a restoration; the texts are for the log and the ledger.
struct RestoreOutcomeCases {
    struct Restored {
        std::string detail;
        bool operator==(const Restored&) const = default;
    };
    /// The store is as it was.
    struct Refused {
        std::string why;
        bool operator==(const Refused&) const = default;
    };
};

class RestoreOutcome
    : public ClosedVariant<RestoreOutcomeCases, RestoreOutcomeCases::Restored, RestoreOutcomeCases::Refused> {
  public:
    using ClosedVariant::ClosedVariant;

    /// Whether the file at the backup's path is the copy that was vouched for, as far as its size and its beginning
    /// tell. No size: it cannot be measured.
    static RestoreOutcome ofFile(const VouchedBackup& backup, std::optional<std::int64_t> size, bool isPlaintextSQLite);
};

}  // namespace larkmoor
