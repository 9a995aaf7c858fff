// Changes several files of other applications all or nothing, with a copy beside each. It holds no lock: each file is
// replaced by one rename, so that a reader sees the old or the new content.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/Observation.h"

namespace larkmoor {

/// One planned change of one file.
struct FileChange {
    std::string path;             ///< where to write; canonical already, see ConfigPath
    std::string label;            ///< the path as the user knows it, before links are resolved
    std::optional<Bytes> before;  ///< what the file held when it was read; nullopt if it did not exist
    std::optional<Bytes> after;   ///< what it must hold; nullopt to remove it
};

struct TransactionResultCases {
    /// Every file holds its new bytes.
    struct Committed {
        std::vector<std::string> backups;       ///< the paths of the copies made
        std::vector<Observation> observations;  ///< one for each copy
        bool operator==(const Committed&) const = default;
    };
    /// No file is changed, except one that could not be restored: the observations name it and its copy.
    struct Refused {
        std::vector<Observation> observations;  ///< what failed first, then the consequences
        bool operator==(const Refused&) const = default;
    };
    /// There was nothing to do, and no file was touched.
    struct Unchanged {
        bool operator==(const Unchanged&) const = default;
    };
};

/// How a transaction ended.
using TransactionResult = ClosedVariant<TransactionResultCases, TransactionResultCases::Committed,
                                        TransactionResultCases::Refused, TransactionResultCases::Unchanged>;

namespace Transaction {

struct UnwritableReason {
    std::string text;
    bool liesInTheFolder = false;  ///< the reason is about the folder, not the file

    bool operator==(const UnwritableReason&) const = default;
};

/// Why the file cannot be written, or nullopt if it can.
std::optional<UnwritableReason> unwritableReason(const std::string& path);

/// Makes every check and every copy before the first write; if a write fails, restores the files already written. `at`
/// is in the names of the copies; `beforeRename`, if any, runs before each file is replaced. Blocks for as long as the
/// disk does.
TransactionResult commit(std::span<const FileChange> changes, std::chrono::system_clock::time_point at,
                         const std::function<void()>& beforeRename = {});

}  // namespace Transaction

}  // namespace larkmoor
