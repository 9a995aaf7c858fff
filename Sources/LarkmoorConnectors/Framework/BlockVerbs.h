// The verbs of a harness whose blocks stand each in a file of its own: read all, refuse together, plan all in memory,
// commit once.
#pragma once

#include <span>
#include <vector>

#include "LarkmoorConnectors/Framework/Block.h"
#include "LarkmoorConnectors/Framework/Commitment.h"
#include "LarkmoorConnectors/Framework/ConnectorState.h"
#include "LarkmoorConnectors/Framework/HarnessFile.h"

namespace larkmoor {

/// The blocks of one harness with their files as they were read, once for the whole verb.
class BlockVerbs {
  public:
    /// Reads the files.
    explicit BlockVerbs(std::vector<Block> blocks);

    /// In the order of the blocks, as all here.
    std::span<const HarnessFile> files() const { return files_; }

    ConnectorState state() const;
    std::vector<Observation> observations() const;

    /// The refusal of a verb over files that do not read, all of them at once; nothing if they do.
    std::optional<ConnectorOutcome> readingRefusal() const;

    /// `amend` may add to the receipt beyond what was made. `folder`, the harness's own, is made if it is missing.
    ConnectorOutcome install(const std::string& folder, const ReceiptStore& receipts, const Commitment::Moment& moment,
                             const std::function<void(ConnectorReceipt&)>& amend = {}) const;

    ConnectorOutcome remove(const ReceiptStore& receipts, const Commitment::Moment& moment) const;

  private:
    std::vector<Block> blocks_;
    std::vector<HarnessFile> files_;
    std::vector<BlockFinding> findings_;
};

}  // namespace larkmoor
