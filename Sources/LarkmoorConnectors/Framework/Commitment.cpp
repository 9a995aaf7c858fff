#include "LarkmoorConnectors/Framework/Commitment.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"
#include "LarkmoorConnectors/ConfigFile/Transaction.h"

namespace larkmoor {

HarnessFile HarnessFile::read(const std::string& label) {
    HarnessFile file{.label = label, .path = ConfigPath::canonical(label)};
    if (auto bytes = Files::read(file.path)) {
        file.bytes = std::move(*bytes);
    } else if (!Files::isAbsent(file.path)) {
        file.fault = std::move(bytes.error());
    }
    return file;
}

namespace Commitment {

namespace {

void append(std::vector<Observation>& list, std::vector<Observation> more) {
    list.insert(list.end(), std::move_iterator{more.begin()}, std::move_iterator{more.end()});
}

/// Files that exist, could not be read, and would be replaced: we must not replace what we could not read, even if it
/// can be written.
std::vector<UnreadFile> replacedUnread(std::span<const PlannedFile> plan) {
    std::vector<UnreadFile> unread;
    for (const PlannedFile& planned : plan) {
        const auto& fault = planned.file.fault;
        if (!fault || !planned.changes() || Transaction::unwritableReason(planned.file.path)) continue;
        unread.push_back({planned.file.label, planned.format, fault->reason()});
    }
    return unread;
}

/// What is said of files that exist and cannot be read, in the words with which an installation refuses them.
std::vector<Observation> unread(std::span<const PlannedFile> plan) {
    std::vector<Observation> said;
    for (const PlannedFile& planned : plan) {
        const HarnessFile& file = planned.file;
        if (!file.fault) continue;
        if (auto reason = Transaction::unwritableReason(file.path)) {
            const std::string& place = ConfigPath::isLink(file.label) ? file.path : file.label;
            said.push_back({reason->liesInTheFolder ? ConfigPath::folder(place) : file.label, std::move(reason->text)});
        } else {
            const UnreadFile failed{file.label, planned.format, file.fault->reason()};
            append(said, refused(std::span{&failed, 1}).observations);
        }
    }
    return said;
}

/// The target of a link may only be out of reach, with our entries in it.
bool leadsToNothing(const PlannedFile& planned) {
    return !planned.file.bytes && ConfigPath::isLink(planned.file.label);
}

TransactionResult commit(std::span<const PlannedFile> plan, const CommitOptions& options) {
    std::vector<FileChange> changes;
    for (const PlannedFile& planned : plan) {
        const auto same = std::ranges::find(changes, planned.file.path, &FileChange::path);
        if (same != changes.end()) {
            same->after = planned.after;
            continue;
        }
        changes.push_back({planned.file.path, planned.file.label, planned.file.bytes, planned.after});
    }
    return Transaction::commit(changes, options.at, options.beforeRename);
}

/// One message for each file that did not change.
std::vector<Observation> untouched(std::span<const PlannedFile> plan) {
    std::vector<Observation> said;
    for (const PlannedFile& planned : plan) {
        if (!planned.changes()) said.push_back({planned.file.label, "nothing in this file needed changing"});
    }
    return said;
}

/// Messages about the files that changed and still exist, then about those that did not change.
std::vector<Observation> ends(std::span<const PlannedFile> plan, std::string_view done) {
    std::vector<Observation> said;
    for (const PlannedFile& planned : plan) {
        if (!planned.changes() || !planned.after) continue;
        said.push_back({planned.file.label, fmt::format("the Larkmoor {} was {} this file", planned.what, done)});
    }
    append(said, untouched(plan));
    return said;
}

/// Ends an installation that has changed something; `outcome` holds the result of the transaction.
ConnectorOutcome recorded(ConnectorOutcome outcome, std::span<const PlannedFile> plan, const ReceiptStore& receipts,
                          const ConnectorReceipt& receipt) {
    if (const auto written = receipts.write(receipt); !written) {
        if (std::ranges::none_of(plan, &PlannedFile::changes)) outcome.result = ConnectorOutcome::Result::unchanged;
        outcome.observations.push_back(
            {receipts.file, "the record of what was created was not written here — " + written.error().description()});
    }
    append(outcome.observations, ends(plan, "written to"));
    return outcome;
}

ConnectorOutcome changed(const TransactionResult::Committed& committed) {
    return {ConnectorOutcome::Result::changed, committed.observations, committed.backups};
}

}  // namespace

ConnectorOutcome installed(std::span<const PlannedFile> plan, const ReceiptStore& receipts, const ReceiptAddition& made,
                           const CommitOptions& options) {
    if (const auto unread = replacedUnread(plan); !unread.empty()) return refused(unread);
    return commit(plan, options)
        .visit(
            [&](const TransactionResult::Committed& committed) {
                return recorded(changed(committed), plan, receipts, receipts.read().with(made));
            },
            [](const TransactionResult::Refused& refusal) { return ConnectorOutcome::refused(refusal.observations); },
            [&](const TransactionResult::Unchanged&) {
                if (made.trustSlots) {
                    const ConnectorReceipt receipt = receipts.read();
                    if (receipt.trustSlots != *made.trustSlots) {
                        return recorded({ConnectorOutcome::Result::changed, {}}, plan, receipts, receipt.with(made));
                    }
                }
                return ConnectorOutcome::unchanged(untouched(plan));
            });
}

ConnectorOutcome removed(std::span<const PlannedFile> plan, const ReceiptStore& receipts, Remarks remarks,
                         const CommitOptions& options) {
    // Our entries may be in what cannot be read, and the receipt will be needed to remove them.
    if (auto said = unread(plan); !said.empty()) return ConnectorOutcome::refused(std::move(said));
    const auto withRemarks = [&](std::vector<Observation> files) {
        if (!remarks.isAfterFiles) std::swap(files, remarks.said);
        append(files, std::move(remarks.said));
        return files;
    };
    return commit(plan, options)
        .visit(
            [&](const TransactionResult::Committed& committed) {
                if (std::ranges::none_of(plan, leadsToNothing)) receipts.remove();
                ConnectorOutcome outcome = changed(committed);
                append(outcome.observations, withRemarks(ends(plan, "removed from")));
                return outcome;
            },
            [](const TransactionResult::Refused& refusal) { return ConnectorOutcome::refused(refusal.observations); },
            [&](const TransactionResult::Unchanged&) {
                return ConnectorOutcome::unchanged(withRemarks(untouched(plan)));
            });
}

ConnectorOutcome refused(const PlanFailure& failure) {
    return ConnectorOutcome::refused(
        {{failure.file, failure.isSentence ? failure.reason : "nothing was written — " + failure.reason}});
}

ConnectorOutcome refused(std::span<const UnreadFile> unread) {
    std::vector<Observation> said;
    for (const auto& [file, format, reason] : unread) {
        said.push_back(
            {file, fmt::format("this file did not read as {}, so nothing was written — {}", format, reason)});
    }
    return ConnectorOutcome::refused(std::move(said));
}

}  // namespace Commitment

}  // namespace larkmoor
