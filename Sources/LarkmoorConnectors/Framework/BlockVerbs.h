// Install, remove and scan for the files of one harness: read all files, refuse if any cannot be parsed, plan
// everything in memory, commit once.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Framework/Block.h"
#include "LarkmoorConnectors/Framework/Commitment.h"
#include "LarkmoorConnectors/Framework/HookLayout.h"

namespace larkmoor {

/// The files of one harness as they were read and scanned, once for the whole verb.
class BlockVerbs {
  public:
    /// Reads the files, and the receipt if a block's finding asks for it.
    BlockVerbs(std::vector<BlockFile> files, ReceiptStore receipts);

    /// The document of the file with this index; null if the file does not exist, or could not be read or parsed.
    const FileDocument* document(std::size_t file) const;

    /// Empty if no block asks for it.
    const ConnectorReceipt& receipt() const { return receipt_; }

    ConnectorState state() const;
    std::vector<Observation> observations() const;

    /// Whether our blocks are out of date and safe to rewrite without asking: our hooks in the file with this index all
    /// run their `binary`, which exists. Another spelling or shape is rewritten so, never another program.
    bool isStaleOwnWiring(std::size_t file, const HookLayout& hooks) const;

    /// The refusal if files could not be parsed, which names all of them; nullopt if there are none.
    std::optional<ConnectorOutcome> readingRefusal() const;

    /// `more` is added to the receipt, besides what was created. `folder` is the harness's configuration folder; it is
    /// created if missing.
    ConnectorOutcome install(const std::string& folder, const CommitOptions& options, ReceiptAddition more = {}) const;

    /// `leftoversLast`: messages about leftovers come after the messages about the files, not before them.
    ConnectorOutcome remove(const CommitOptions& options, bool leftoversLast = false) const;

  private:
    struct ReadFile {
        BlockFile rules;
        HarnessFile file;
        std::optional<FileDocument> document{};
        /// One for each block, or a single one for a file that does not exist or could not be parsed.
        std::vector<BlockFinding> findings{};
    };
    using Plan = std::vector<PlannedFile>;  ///< of the files before this one
    struct Installation {
        PlannedFile planned;
        std::optional<FileDocument> document{};  ///< what is planned, parsed
        ReceiptAddition made{};
        std::vector<Observation> notes{}, warnings{};
    };
    struct Removal {
        PlannedFile planned;
        std::optional<FileDocument> document{};  ///< what is planned, parsed
        std::vector<Observation> said{};
    };

    bool createdByUs(const Block& block) const { return block.created && receipt_.created.contains(*block.created); }
    std::vector<BlockFinding> findings(const ReadFile& read) const;
    /// The blocks of the file with this index, if the file before is planned so.
    std::vector<Block> blocks(std::size_t file, const FileDocument* planned, const ConnectorReceipt& receipt) const;
    // `previous` is what is planned for the file before the one with this index.
    std::expected<Installation, PlanFailure> planInstallation(std::size_t file, const Plan& before,
                                                              const FileDocument* previous) const;
    std::expected<Removal, PlanFailure> planRemoval(std::size_t file, const Plan& before, const FileDocument* previous,
                                                    const ConnectorReceipt& receipt) const;
    static std::expected<std::optional<FileDocument>, PlanFailure> planned(const ReadFile& read, const Plan& before);

    ReceiptStore receipts_;
    ConnectorReceipt receipt_{};  ///< read if a block's finding asks for it
    std::vector<ReadFile> files_;
};

}  // namespace larkmoor
