// The connector for Codex: a hook entry in its hooks file, and in its configuration file a server table and the trust
// record without which Codex does not run the hook. All three are planned in memory and land together or not at all.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Codex/CodexPaths.h"
#include "LarkmoorConnectors/Framework/BlockVerbs.h"
#include "LarkmoorConnectors/Framework/Connector.h"

namespace larkmoor {

struct CodexConnector final : Connector {
    CodexPaths paths;
    std::function<std::chrono::system_clock::time_point()> now = std::chrono::system_clock::now;
    std::function<void()> beforeRename{};  ///< see Transaction

    CodexConnector(const std::string& home, const std::string& bundle) : paths(CodexPaths::under(home, bundle)) {}

    ConnectorIdentity identity() const override;
    ScanReport scan() const override;
    ProjectReport projects() const override;
    MemoryFileReport memoryFiles() const override;
    ConnectorOutcome install() const override;
    ConnectorOutcome remove() const override;
    bool staleOwnWiring() const override;

  private:
    /// Reads both files and the receipt.
    BlockVerbs blocks() const;
    /// Why neither verb may touch the files.
    std::optional<ConnectorOutcome> refusal(const BlockVerbs& read) const;
    std::vector<Observation> foreignSlots(const BlockVerbs& read) const;
    CommitOptions commitOptions() const { return {now(), beforeRename}; }
};

}  // namespace larkmoor
