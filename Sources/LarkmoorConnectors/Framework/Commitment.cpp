#include "LarkmoorConnectors/Framework/Commitment.h"

#include <fmt/format.h>

#include "LarkmoorConnectors/ConfigFile/Transaction.h"

namespace larkmoor::Commitment {

namespace {

void append(std::vector<Observation>& list, std::vector<Observation> more) {
    list.insert(list.end(), std::move_iterator{more.begin()}, std::move_iterator{more.end()});
}

/// Of each file that is there and still has what it had: a file that could not be read is no file that we may replace,
/// though it could be written.
std::vector<Unread> replacedUnread(std::span<const PlannedFile> plan) {
    std::vector<Unread> unread;
    for (const PlannedFile& planned : plan) {
        const auto& fault = planned.file.fault;
        if (!fault || !planned.changes() || Transaction::unwritableReason(planned.file.path)) continue;
        unread.push_back({planned.file.label, planned.format, fault->reason()});
    }
    return unread;
}

TransactionResult commit(std::span<const PlannedFile> plan, const Moment& moment) {
    std::vector<FileChange> changes;
    for (const PlannedFile& planned : plan) {
        changes.push_back({planned.file.path, planned.file.label, planned.file.bytes, planned.after});
    }
    return Transaction::commit(changes, moment.at, moment.beforeRename);
}

/// Of each file that did not change.
std::vector<Observation> untouched(std::span<const PlannedFile> plan) {
    std::vector<Observation> said;
    for (const PlannedFile& planned : plan) {
        if (!planned.changes()) said.push_back({planned.file.label, "nothing in this file needed changing"});
    }
    return said;
}

/// Of the files that changed and are still there, then of those that did not change.
std::vector<Observation> ends(std::span<const PlannedFile> plan, std::string_view done) {
    std::vector<Observation> said;
    for (const PlannedFile& planned : plan) {
        if (!planned.changes() || !planned.after) continue;
        said.push_back({planned.file.label, fmt::format("the Larkmoor {} was {} this file", planned.what, done)});
    }
    append(said, untouched(plan));
    return said;
}

}  // namespace

ConnectorOutcome installed(std::span<const PlannedFile> plan, const ReceiptStore& receipts,
                           const std::function<void(ConnectorReceipt&)>& amend, const Moment& moment) {
    if (const auto unread = replacedUnread(plan); !unread.empty()) return refused(unread);
    return commit(plan, moment)
        .visit(
            [&](const TransactionResult::Committed& committed) {
                ConnectorOutcome outcome{ConnectorOutcome::Result::changed, committed.observations, committed.backups};
                ConnectorReceipt receipt = receipts.read();
                amend(receipt);
                if (const auto written = receipts.write(receipt); !written) {
                    outcome.observations.push_back(
                        {receipts.file,
                         "the record of what was created was not written here — " + written.error().description()});
                }
                append(outcome.observations, ends(plan, "written to"));
                return outcome;
            },
            [](const TransactionResult::Refused& refusal) { return ConnectorOutcome::refused(refusal.observations); },
            [&](const TransactionResult::Unchanged&) { return ConnectorOutcome::unchanged(untouched(plan)); });
}

ConnectorOutcome removed(std::span<const PlannedFile> plan, const ReceiptStore& receipts, std::vector<Observation> said,
                         const Moment& moment) {
    return commit(plan, moment)
        .visit(
            [&](const TransactionResult::Committed& committed) {
                receipts.remove();
                ConnectorOutcome outcome{ConnectorOutcome::Result::changed, committed.observations, committed.backups};
                append(outcome.observations, std::move(said));
                append(outcome.observations, ends(plan, "removed from"));
                return outcome;
            },
            [](const TransactionResult::Refused& refusal) { return ConnectorOutcome::refused(refusal.observations); },
            [&](const TransactionResult::Unchanged&) {
                append(said, untouched(plan));
                return ConnectorOutcome::unchanged(std::move(said));
            });
}

ConnectorOutcome refused(const PlanFailure& failure) {
    return ConnectorOutcome::refused({{failure.file, "nothing was written — " + failure.reason}});
}

ConnectorOutcome refused(std::span<const Unread> unread) {
    std::vector<Observation> said;
    for (const auto& [file, format, reason] : unread) {
        said.push_back(
            {file, fmt::format("this file did not read as {}, so nothing was written — {}", format, reason)});
    }
    return ConnectorOutcome::refused(std::move(said));
}

}  // namespace larkmoor::Commitment
