// Changes several files of another application all or nothing, with a copy beside each. It holds no lock: what keeps a
// harness and us apart is that each file is replaced in one rename.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "LarkmoorConnectors/ConfigFile/FileChange.h"
#include "LarkmoorConnectors/ConfigFile/TransactionResult.h"

namespace larkmoor::Transaction {

struct UnwritableReason {
    std::string text;
    bool liesInTheFolder = false;  ///< the fault is the folder's and not the file's

    bool operator==(const UnwritableReason&) const = default;
};

/// Why the file cannot be written, or nothing if it can.
std::optional<UnwritableReason> unwritableReason(const std::string& path);

/// Every check and every copy comes before the first write; a failure then puts back what was written. `at` stamps the
/// copies; `beforeRename`, if any, runs before each file is replaced. Blocks as long as the disk does.
TransactionResult commit(std::span<const FileChange> changes, std::chrono::system_clock::time_point at,
                         const std::function<void()>& beforeRename = {});

}  // namespace larkmoor::Transaction
