// From a plan to the disk: one transaction over the planned files, the receipt after it, and the words for both.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/Framework/Connector.h"
#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

namespace larkmoor {

/// One of a harness's files as a verb read it. Bytes are held for the length of one verb.
struct HarnessFile {
    std::string label;                 ///< the path as the user knows it
    std::string path;                  ///< where it really lies, see ConfigPath
    std::optional<Bytes> bytes{};      ///< nothing if the file is not there or cannot be read
    std::optional<FileError> fault{};  ///< why what is there could not be read

    /// Links are followed.
    static HarnessFile read(const std::string& label);
};

/// What one file is to become. It is all decided in memory, before anything is touched. Two labels may lead to one
/// file: the later of them in a plan is then planned on what the earlier leaves, and has the last word.
struct PlannedFile {
    HarnessFile file;
    std::optional<Bytes> after;        ///< nothing if the file must go
    std::string_view what = "entry";   ///< the noun of what is ours in it
    std::string_view format = "JSON";  ///< of the file, in sentences

    bool changes() const { return file.bytes != after; }
};

/// Why there is no plan for a file; `reason` is for a person.
struct [[nodiscard]] PlanFailure {
    std::string file, reason;
};

/// A file that did not read, and why.
struct UnreadFile {
    std::string file;
    std::string_view format;
    std::string reason;
};

struct CommitOptions {
    std::chrono::system_clock::time_point at;  ///< what the copies are stamped with
    std::function<void()> beforeRename{};      ///< see Transaction
};

namespace Commitment {

/// After a commit `made` is added to the receipt. Where no file changes, the receipt is written alone if `made` has
/// other trust slots than it, and the outcome is `changed` as well.
ConnectorOutcome installed(std::span<const PlannedFile> plan, const ReceiptStore& receipts, const ReceiptAddition& made,
                           const CommitOptions& options);

/// What the plan itself has to say, before or after the words of the files.
struct Remarks {
    std::vector<Observation> said{};
    bool isAfterFiles = false;
};

/// After a commit the receipt goes.
ConnectorOutcome removed(std::span<const PlannedFile> plan, const ReceiptStore& receipts, Remarks remarks,
                         const CommitOptions& options);

/// The refusal of a verb for which there is no plan.
ConnectorOutcome refused(const PlanFailure& failure);

/// The refusal that tells them all; `unread` is not empty.
ConnectorOutcome refused(std::span<const UnreadFile> unread);

}  // namespace Commitment

}  // namespace larkmoor
