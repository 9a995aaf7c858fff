// Codex's blocks as `BlockVerbs` runs them. Those of the configuration file depend on the hooks file, as it was read
// and as it is planned: a trust record holds the place and the hash of the entry there.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Codex/CodexMCP.h"
#include "LarkmoorConnectors/Codex/CodexTrust.h"
#include "LarkmoorConnectors/Framework/Block.h"

namespace larkmoor {

/// The hook entry. Refuses every plan that would move an entry of the user's, because Codex would no longer run that.
Block codexHookBlock(const CodexPaths& paths);

class CodexConfigBlocks {
  public:
    CodexConfigBlocks(CodexPaths paths, const BlockContext& context);

    /// The server table, then the trust record.
    std::vector<Block> blocks() const;

    /// Trust records with a hash of ours that somebody else wrote.
    std::vector<std::string> foreignSlots(const TOMLDocument& in) const;

  private:
    using Installed = std::expected<BlockInstalled, BlockFailure>;
    using Removed = std::expected<BlockRemoved, BlockFailure>;

    /// Why the tables that we write cannot be edited; nullopt if they can.
    std::optional<std::string> unreadableReason(const TOMLDocument& document) const;
    CodexTrust::Judgement judge(const TOMLDocument& document, std::string_view occupied) const;

    Installed serverInstalled(const TOMLFile& file) const;
    Installed trustInstalled(const TOMLFile& file) const;
    /// Removes the table and the records, and the line feed that an installation added.
    Removed allRemoved(const TOMLFile& file, const ConnectorReceipt& receipt) const;

    CodexPaths paths_;
    CodexHook hook_{paths_};
    CodexMCP server_{paths_};
    CodexTrust trust_{paths_};
    std::optional<JSONDocument> hooks_{}, plannedHooks_{};
    std::vector<CodexHookSite> sites_{};                   ///< in the hooks file as it was read
    std::optional<CodexHookSite> site_{}, plannedSite_{};  ///< the one that Codex runs
    std::set<std::string> receiptSlots_;
};

}  // namespace larkmoor
