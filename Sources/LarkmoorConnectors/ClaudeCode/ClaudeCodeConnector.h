// The connector for Claude Code: hook entries in its settings, a server entry in its user file.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodePaths.h"
#include "LarkmoorConnectors/Framework/BlockVerbs.h"
#include "LarkmoorConnectors/Framework/Connector.h"

namespace larkmoor {

struct ClaudeCodeConnector final : Connector {
    ClaudeCodePaths paths;
    std::function<std::chrono::system_clock::time_point()> now = std::chrono::system_clock::now;
    std::function<void()> beforeRename{};  ///< see Transaction

    ClaudeCodeConnector(const std::string& home, const std::string& bundle)
        : paths(ClaudeCodePaths::under(home, bundle)) {}

    ConnectorIdentity identity() const override;
    ScanReport scan() const override;
    ProjectReport projects() const override;
    MemoryFileReport memoryFiles() const override;
    ConnectorOutcome install() const override;
    ConnectorOutcome remove() const override;
    bool staleOwnWiring() const override;

  private:
    bool isThere() const;
    /// Reads both files.
    BlockVerbs blocks() const;
    CommitOptions commitOptions() const { return {now(), beforeRename}; }
};

}  // namespace larkmoor
