#include "LarkmoorConnectors/Framework/BlockVerbs.h"

#include "LarkmoorConnectors/Framework/ScanJoin.h"
#include "LarkmoorConnectors/Framework/StrictJSON.h"

namespace larkmoor {

namespace {

struct Removal {
    PlannedFile planned;
    std::vector<Observation> said{};
};

/// What a file becomes without its block, and whether the file itself goes.
std::expected<Removal, PlanFailure> planRemoval(const Block& block, const HarnessFile& file,
                                                const std::set<Created>& created) {
    Removal removal{{.file = file, .after = file.bytes, .format = block.place.format}};
    if (!file.bytes) return removal;
    auto removed = block.removed(*file.bytes, created);
    if (!removed) return std::unexpected{PlanFailure{file.label, removed.error()}};
    for (const std::string& leftover : removed->leftovers) removal.said.push_back({file.label, leftover});
    const bool changed = *file.bytes != removed->bytes;
    const bool isResidue = block.isResidue(removed->bytes);
    removal.planned.after = std::move(removed->bytes);
    if (isResidue && created.contains(block.file)) {
        removal.planned.after.reset();
        removal.said.push_back({file.label, "this file was created when Larkmoor connected and was removed"});
    } else if (isResidue && changed) {
        removal.said.push_back({file.label, std::string{block.residueStays}});
    }
    return removal;
}

}  // namespace

bool Block::isEmptyTopLevel(BytesView document) {
    const auto scan = StrictJSON::scan(document);
    return scan && StrictJSON::isEmptyContainer(scan->root);
}

BlockVerbs::BlockVerbs(std::vector<Block> blocks) : blocks_(std::move(blocks)) {
    for (const Block& block : blocks_) {
        const HarnessFile& file = files_.emplace_back(HarnessFile::read(block.place.file));
        findings_.push_back(block.find(file.bytes));
    }
}

ConnectorState BlockVerbs::state() const { return ScanJoin::state(findings_); }

std::vector<Observation> BlockVerbs::observations() const {
    std::vector<Observation> said;
    for (std::size_t index = 0; index < blocks_.size(); ++index) {
        for (Observation& observation : Observations::of(findings_[index], blocks_[index].place)) {
            said.push_back(std::move(observation));
        }
    }
    return said;
}

std::optional<ConnectorOutcome> BlockVerbs::readingRefusal() const {
    std::vector<Commitment::Unread> unread;
    for (std::size_t index = 0; index < blocks_.size(); ++index) {
        const auto* finding = findings_[index].as<BlockFinding::Unreadable>();
        if (finding == nullptr) continue;
        unread.push_back({blocks_[index].place.file, blocks_[index].place.format, finding->reason});
    }
    if (unread.empty()) return std::nullopt;
    return Commitment::refused(unread);
}

ConnectorOutcome BlockVerbs::install(const std::string& folder, const ReceiptStore& receipts,
                                     const Commitment::Moment& moment,
                                     const std::function<void(ConnectorReceipt&)>& amend) const {
    if (auto refusal = readingRefusal()) return std::move(*refusal);
    std::vector<PlannedFile> plan;
    std::set<Created> created;
    std::vector<Observation> notes;
    for (std::size_t index = 0; index < blocks_.size(); ++index) {
        const Block& block = blocks_[index];
        const HarnessFile& file = files_[index];
        if (!file.bytes) created.insert(block.file);
        auto installed = block.installed(file.bytesOr(block.seed));
        if (!installed) return Commitment::refused(PlanFailure{file.label, installed.error()});
        created.merge(installed->created);
        for (const std::string& note : installed->notes) notes.push_back({file.label, note});
        plan.push_back({.file = file, .after = std::move(installed->bytes), .format = block.place.format});
    }
    // A failure shows when the files are written.
    static_cast<void>(Files::makeFolders(folder, 0777).has_value());
    const auto amendAll = [&](ConnectorReceipt& receipt) {
        receipt.created.insert(created.begin(), created.end());
        if (amend) amend(receipt);
    };
    ConnectorOutcome outcome = Commitment::installed(plan, receipts, amendAll, moment);
    if (outcome.result == ConnectorOutcome::Result::changed) {
        outcome.observations.insert(outcome.observations.end(), notes.begin(), notes.end());
    }
    return outcome;
}

ConnectorOutcome BlockVerbs::remove(const ReceiptStore& receipts, const Commitment::Moment& moment) const {
    if (auto refusal = readingRefusal()) return std::move(*refusal);
    const std::set<Created> created = receipts.read().created;
    std::vector<PlannedFile> plan;
    std::vector<Observation> said;
    for (std::size_t index = 0; index < blocks_.size(); ++index) {
        auto removal = planRemoval(blocks_[index], files_[index], created);
        if (!removal) return Commitment::refused(removal.error());
        plan.push_back(std::move(removal->planned));
        said.insert(said.end(), removal->said.begin(), removal->said.end());
    }
    return Commitment::removed(plan, receipts, std::move(said), moment);
}

}  // namespace larkmoor
