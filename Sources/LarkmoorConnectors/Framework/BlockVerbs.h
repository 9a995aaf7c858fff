// Install, remove and scan for the files of one harness: read all files, refuse if any cannot be parsed, plan
// everything in memory, commit once.
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

    /// The document of the file with this index; null if the file does not exist, or could not be read or parsed.
    const FileDocument* document(std::size_t file) const;

    ConnectorState state() const;
    std::vector<Observation> observations() const;

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
