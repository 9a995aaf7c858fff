// The verbs of a harness over its block files: read all, refuse together, plan all in memory, commit once.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Framework/Block.h"
#include "LarkmoorConnectors/Framework/Commitment.h"

namespace larkmoor {

/// The files of one harness as they were read and scanned, once for the whole verb.
class BlockVerbs {
  public:
    /// Reads the files, and the receipt if a block's finding asks for it.
    BlockVerbs(std::vector<BlockFile> files, ReceiptStore receipts);

    /// The file's document, in the order of the files; null if it is not there or does not read.
    const FileDocument* document(std::size_t file) const;

    ConnectorState state() const;
    std::vector<Observation> observations() const;

    /// The refusal of a verb over files that do not read, all of them at once; nothing if they do.
    std::optional<ConnectorOutcome> readingRefusal() const;

    /// `more` goes into the receipt beyond what was made. `folder`, the harness's own, is made if it is missing.
    ConnectorOutcome install(const std::string& folder, const CommitOptions& options, ReceiptAddition more = {}) const;

    /// `leftoversLast`: what stays of the surroundings is said after the files' own words, and not before.
    ConnectorOutcome remove(const CommitOptions& options, bool leftoversLast = false) const;

  private:
    struct ReadFile {
        BlockFile rules;
        HarnessFile file;
        std::optional<FileDocument> document{};
        /// One for each block, or a single one for a file that is not there or does not read.
        std::vector<BlockFinding> findings{};
    };
    using Plan = std::vector<PlannedFile>;  ///< of the files before this one
    struct Installation {
        PlannedFile planned;
        ReceiptAddition made{};
        std::vector<Observation> notes{};
    };
    struct Removal {
        PlannedFile planned;
        std::vector<Observation> said{};
    };

    bool createdByUs(const Block& block) const { return block.created && receipt_.created.contains(*block.created); }
    std::vector<BlockFinding> findings(const ReadFile& read) const;
    std::expected<Installation, PlanFailure> planInstallation(const ReadFile& read, const Plan& before) const;
    static std::expected<Removal, PlanFailure> planRemoval(const ReadFile& read, const Plan& before,
                                                           const ConnectorReceipt& receipt);
    static std::expected<std::optional<FileDocument>, PlanFailure> planned(const ReadFile& read, const Plan& before);

    ReceiptStore receipts_;
    ConnectorReceipt receipt_{};  ///< read if a block's finding asks for it
    std::vector<ReadFile> files_;
};

}  // namespace larkmoor
