#include "LarkmoorConnectors/Framework/BlockVerbs.h"

#include <algorithm>
#include <iterator>
#include <ranges>

#include "LarkmoorConnectors/Framework/Observations.h"

namespace larkmoor {

namespace {

bool asksReceipt(const BlockFile& file) {
    return file.blocksAfter ||
           std::ranges::any_of(file.blocks, [](const Block& block) { return block.created.has_value(); });
}

PlannedFile unplanned(const BlockFile& rules, const HarnessFile& file) {
    return {.file = file, .after = file.bytes, .what = rules.what, .format = FileDocuments::name(rules.format)};
}

const FileDocument* pointerTo(const std::optional<FileDocument>& document) { return document ? &*document : nullptr; }

std::unexpected<PlanFailure> failure(const HarnessFile& file, BlockFailure why) {
    if (why.file.empty()) why.file = file.label;
    return std::unexpected{PlanFailure{std::move(why.file), std::move(why.reason), why.isSentence}};
}

void append(std::vector<Observation>& list, const std::string& subject, std::vector<std::string> texts) {
    for (std::string& text : texts) list.push_back({subject, std::move(text)});
}

}  // namespace

BlockVerbs::BlockVerbs(std::vector<BlockFile> files, ReceiptStore receipts) : receipts_(std::move(receipts)) {
    if (std::ranges::any_of(files, asksReceipt)) receipt_ = receipts_.read();
    for (BlockFile& rules : files) {
        HarnessFile file = HarnessFile::read(rules.path);
        ReadFile& read = files_.emplace_back(std::move(rules), std::move(file));
        const std::size_t index = files_.size() - 1;
        read.rules.blocks = blocks(index, index == 0 ? nullptr : document(index - 1), receipt_);
        if (!read.file.bytes) {
            read.findings = {BlockFinding::FileAbsent{}};
        } else if (auto document = FileDocuments::read(*read.file.bytes, read.rules.format)) {
            read.document = std::move(*document);
            read.findings = findings(read);
        } else {
            read.findings = {BlockFinding::Unreadable{std::move(document.error())}};
        }
    }
}

std::vector<BlockFinding> BlockVerbs::findings(const ReadFile& read) const {
    std::vector<BlockFinding> findings;
    for (const Block& block : read.rules.blocks) {
        BlockFinding finding = block.find(*read.document, createdByUs(block));
        if (finding.is<BlockFinding::Unreadable>()) return {std::move(finding)};
        findings.push_back(std::move(finding));
    }
    return findings;
}

const FileDocument* BlockVerbs::document(std::size_t file) const { return pointerTo(files_.at(file).document); }

std::vector<Block> BlockVerbs::blocks(std::size_t file, const FileDocument* planned,
                                      const ConnectorReceipt& receipt) const {
    const BlockFile& rules = files_[file].rules;
    if (!rules.blocksAfter) return rules.blocks;
    return rules.blocksAfter({file == 0 ? nullptr : document(file - 1), planned, receipt});
}

bool BlockVerbs::isStaleOwnWiring(std::size_t file, const HookLayout& hooks) const {
    const FileDocument* read = document(file);
    if (read == nullptr || state() != ConnectorState::drifted) return false;
    if (files_[file].findings.front().is<BlockFinding::Unreadable>()) return false;
    const auto sites = hooks.sites(std::get<JSONDocument>(*read).root());
    const auto runsBinary = [&](const HookSite& site) { return site.runs(hooks.binary); };
    return !sites.empty() && std::ranges::all_of(sites, runsBinary) && Files::exists(hooks.binary);
}

ConnectorState BlockVerbs::state() const {
    std::vector<BlockFinding> all;
    for (const ReadFile& read : files_) all.insert(all.end(), read.findings.begin(), read.findings.end());
    return ScanJoin::state(all);
}

std::vector<Observation> BlockVerbs::observations() const {
    std::vector<Observation> said;
    for (const ReadFile& read : files_) {
        for (std::size_t index = 0; index < read.findings.size(); ++index) {
            for (Observation& each : Observations::of(read.findings[index], read.rules, read.rules.blocks[index])) {
                said.push_back(std::move(each));
            }
        }
    }
    return said;
}

std::optional<ConnectorOutcome> BlockVerbs::readingRefusal() const {
    std::vector<UnreadFile> unread;
    for (const ReadFile& read : files_) {
        const auto* finding = read.findings.front().as<BlockFinding::Unreadable>();
        if (finding == nullptr) continue;
        unread.push_back({read.rules.path, FileDocuments::name(read.rules.format), finding->reason});
    }
    if (unread.empty()) return std::nullopt;
    return Commitment::refused(unread);
}

/// The document to plan on: as it was read, or as an earlier file of the plan leaves it that is the same one.
std::expected<std::optional<FileDocument>, PlanFailure> BlockVerbs::planned(const ReadFile& read, const Plan& before) {
    for (const PlannedFile& earlier : before | std::views::reverse) {
        if (earlier.file.path != read.file.path) continue;
        if (!earlier.after) return std::nullopt;
        auto document = FileDocuments::read(*earlier.after, read.rules.format);
        if (!document) return std::unexpected{PlanFailure{read.file.label, std::move(document.error())}};
        return std::move(*document);
    }
    return read.document;
}

std::expected<BlockVerbs::Installation, PlanFailure> BlockVerbs::planInstallation(std::size_t file, const Plan& before,
                                                                                  const FileDocument* previous) const {
    const ReadFile& read = files_[file];
    Installation plan{unplanned(read.rules, read.file)};
    auto start = planned(read, before);
    if (!start) return std::unexpected{std::move(start.error())};
    std::optional<FileDocument>& planned = plan.document = std::move(*start);
    if (!read.document) plan.made.created.insert(read.rules.created);
    if (!planned) {
        auto seeded = FileDocuments::read(copyBytes(read.rules.seed), read.rules.format);
        if (!seeded) return failure(read.file, std::move(seeded.error()));
        planned = std::move(*seeded);
    }
    for (const Block& block : blocks(file, previous, receipt_)) {
        auto installed = block.installed(*planned, createdByUs(block));
        if (!installed) return failure(read.file, std::move(installed.error()));
        plan.made.merge(std::move(installed->made));
        append(plan.notes, read.file.label, std::move(installed->notes));
        append(plan.warnings, read.file.label, std::move(installed->warnings));
        planned = std::move(installed->document);
    }
    plan.planned.after = copyBytes(FileDocuments::bytes(*planned));
    return plan;
}

ConnectorOutcome BlockVerbs::install(const std::string& folder, const CommitOptions& options,
                                     ReceiptAddition more) const {
    if (auto refusal = readingRefusal()) return std::move(*refusal);
    std::vector<PlannedFile> plan;
    std::vector<Observation> notes, warnings;
    std::optional<FileDocument> previous;
    for (std::size_t file = 0; file < files_.size(); ++file) {
        auto installation = planInstallation(file, plan, pointerTo(previous));
        if (!installation) return Commitment::refused(installation.error());
        plan.push_back(std::move(installation->planned));
        previous = std::move(installation->document);
        more.merge(std::move(installation->made));
        std::ranges::move(installation->notes, std::back_inserter(notes));
        std::ranges::move(installation->warnings, std::back_inserter(warnings));
    }
    // A failure becomes visible when the files are written.
    static_cast<void>(Files::makeFolders(folder, 0777).has_value());
    ConnectorOutcome outcome = Commitment::installed(plan, receipts_, more, options);
    const auto say = [&outcome](std::vector<Observation>& more) {
        std::ranges::move(more, std::back_inserter(outcome.observations));
    };
    if (outcome.result == ConnectorOutcome::Result::changed) say(notes);
    if (outcome.result != ConnectorOutcome::Result::refused) say(warnings);
    return outcome;
}

/// Plans the file without our blocks, and decides whether the file itself is removed.
std::expected<BlockVerbs::Removal, PlanFailure> BlockVerbs::planRemoval(std::size_t file, const Plan& before,
                                                                        const FileDocument* previous,
                                                                        const ConnectorReceipt& receipt) const {
    const ReadFile& read = files_[file];
    Removal removal{unplanned(read.rules, read.file)};
    if (!read.document) return removal;
    auto start = planned(read, before);
    if (!start) return std::unexpected{std::move(start.error())};
    std::optional<FileDocument>& planned = removal.document = std::move(*start);
    for (const Block& block : blocks(file, previous, receipt)) {
        if (!planned) break;
        auto removed = block.removed(*planned, receipt);
        if (!removed) return failure(read.file, std::move(removed.error()));
        append(removal.said, read.file.label, std::move(removed->leftovers));
        planned = std::move(removed->document);
    }
    const bool isResidue = planned && read.rules.isResidue(*planned);
    if (!planned || (isResidue && receipt.created.contains(read.rules.created))) {
        planned.reset();
        removal.planned.after.reset();
        removal.said.push_back({read.file.label, "this file was created when Larkmoor connected and was removed"});
        return removal;
    }
    removal.planned.after = copyBytes(FileDocuments::bytes(*planned));
    if (isResidue && (read.rules.saysOldResidue || removal.planned.changes())) {
        removal.said.push_back({read.file.label, std::string{read.rules.residueStays}});
    }
    return removal;
}

ConnectorOutcome BlockVerbs::remove(const CommitOptions& options, bool leftoversLast) const {
    if (auto refusal = readingRefusal()) return std::move(*refusal);
    const ConnectorReceipt receipt = receipts_.read();
    std::vector<PlannedFile> plan;
    Commitment::Remarks remarks{.isAfterFiles = leftoversLast};
    std::optional<FileDocument> previous;
    for (std::size_t file = 0; file < files_.size(); ++file) {
        auto removal = planRemoval(file, plan, pointerTo(previous), receipt);
        if (!removal) return Commitment::refused(removal.error());
        plan.push_back(std::move(removal->planned));
        previous = std::move(removal->document);
        std::ranges::move(removal->said, std::back_inserter(remarks.said));
    }
    return Commitment::removed(plan, receipts_, std::move(remarks), options);
}

}  // namespace larkmoor
