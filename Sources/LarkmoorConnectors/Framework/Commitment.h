// Carries out a plan: one transaction over the planned files, then the receipt, and the messages about both.
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

/// One of a harness's files as a verb read it. The bytes are kept until that verb ends.
struct HarnessFile {
    std::string label;                 ///< the path as the user knows it
    std::string path;                  ///< the real path, see ConfigPath
    std::optional<Bytes> bytes{};      ///< nullopt if the file does not exist or cannot be read
    std::optional<FileError> fault{};  ///< why a file that exists, or may exist, could not be read

    /// Links are followed.
    static HarnessFile read(const std::string& label);
};

/// The planned content of one file. Everything is decided in memory, before anything is written. Two labels may lead to
/// one file: the later of them in a plan is then planned on what the earlier leaves, and its content is what is
/// written.
struct PlannedFile {
    HarnessFile file;
    std::optional<Bytes> after;        ///< nullopt if the file is to be removed
    std::string_view what = "entry";   ///< noun for our entries in it, in messages
    std::string_view format = "JSON";  ///< of the file, in messages

    bool changes() const { return file.bytes != after; }
};

/// Why there is no plan for a file; `reason` is a text for the user.
struct [[nodiscard]] PlanFailure {
    std::string file, reason;
    bool isSentence = false;  ///< the reason is said as it is, not after "nothing was written — "
};

/// A file that could not be read or parsed, and why.
struct UnreadFile {
    std::string file;
    std::string_view format;
    std::string reason;
};

struct CommitOptions {
    std::chrono::system_clock::time_point at;  ///< the time in the names of the copies
    std::function<void()> beforeRename{};      ///< see Transaction
};

namespace Commitment {

/// After a successful commit, adds `made` to the receipt. If no file changes, but `made` has other trust slots than the
/// receipt, only the receipt is written, and the result is still `changed`.
ConnectorOutcome installed(std::span<const PlannedFile> plan, const ReceiptStore& receipts, const ReceiptAddition& made,
                           const CommitOptions& options);

/// Messages about the plan, placed before or after the messages about the files.
struct Remarks {
    std::vector<Observation> said{};
    bool isAfterFiles = false;
};

/// After a successful commit, deletes the receipt.
ConnectorOutcome removed(std::span<const PlannedFile> plan, const ReceiptStore& receipts, Remarks remarks,
                         const CommitOptions& options);

/// The refusal of a verb for which there is no plan.
ConnectorOutcome refused(const PlanFailure& failure);

/// The refusal that names all these files; `unread` is not empty.
ConnectorOutcome refused(std::span<const UnreadFile> unread);

}  // namespace Commitment

}  // namespace larkmoor
