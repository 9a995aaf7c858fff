// From a plan to the disk: one transaction over the planned files, the receipt after it, and the words for both.
#pragma once

#include <chrono>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Framework/ConnectorOutcome.h"
#include "LarkmoorConnectors/Framework/PlannedFile.h"
#include "LarkmoorConnectors/Framework/ReceiptStore.h"

namespace larkmoor::Commitment {

/// The seams of a connector, as its transaction takes them.
struct Moment {
    std::chrono::system_clock::time_point at;
    std::function<void()> beforeRename{};  ///< see Transaction
};

/// After a commit `amend` adds to the receipt what this install has made; the rest of it stays as it was.
ConnectorOutcome installed(std::span<const PlannedFile> plan, const ReceiptStore& receipts,
                           const std::function<void(ConnectorReceipt&)>& amend, const Moment& moment);

/// After a commit the receipt goes. `said` is what the plan has to say; it comes before the files' own words.
ConnectorOutcome removed(std::span<const PlannedFile> plan, const ReceiptStore& receipts, std::vector<Observation> said,
                         const Moment& moment);

/// The refusal of a verb for which there is no plan.
ConnectorOutcome refused(const PlanFailure& failure);

/// One file that did not read, and why.
struct Unread {
    std::string file;
    std::string_view format;
    std::string reason;
};

/// The refusal that tells them all; `unread` is not empty.
ConnectorOutcome refused(std::span<const Unread> unread);

}  // namespace larkmoor::Commitment
