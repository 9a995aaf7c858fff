#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeConnector.h"

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeBlocks.h"
#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeInventory.h"
#include "LarkmoorConnectors/Framework/Observations.h"

namespace larkmoor {

ConnectorIdentity ClaudeCodeConnector::identity() const {
    return {"claude-code", "Claude Code", "The Claude Code CLI and Claude Code in the desktop app.", "terminal"};
}

bool ClaudeCodeConnector::isThere() const {
    return Files::exists(paths.configDirectory) || Files::exists(paths.mcpFile);
}

BlockVerbs ClaudeCodeConnector::blocks() const {
    const ClaudeCodeHook hook{paths};
    return {{{.path = paths.settingsFile,
              .created = Created::settingsFile,
              .blocks = {Block::json("hook entry", paths.hookCommand(), hook)}},
             {.path = paths.mcpFile,
              .created = Created::mcpFile,
              .blocks = {Block::json("MCP server entry", paths.mcpBinary, ClaudeCodeMCP{paths})}}},
            {paths.receiptFile}};
}

ScanReport ClaudeCodeConnector::scan() const {
    if (!isThere()) {
        return {identity(), ConnectorState::notFound,
                Observations::folded(
                    {{paths.configDirectory, "there is no directory here"}, {paths.mcpFile, "there is no file here"}})};
    }
    const BlockVerbs read = blocks();
    return {identity(), read.state(), Observations::folded(read.observations())};
}

ConnectorOutcome ClaudeCodeConnector::install() const {
    if (!isThere()) {
        return ConnectorOutcome::refused(
            {{paths.configDirectory, "there is no Claude Code configuration here, so nothing was written"}});
    }
    return blocks().install(paths.configDirectory, commitOptions());
}

ConnectorOutcome ClaudeCodeConnector::remove() const { return blocks().remove(commitOptions()); }

bool ClaudeCodeConnector::staleOwnWiring() const {
    return isThere() && blocks().isStaleOwnWiring(0, ClaudeCodeHook{paths}.layout());
}

ProjectReport ClaudeCodeConnector::projects() const { return ClaudeCodeInventory::projects(paths); }

MemoryFileReport ClaudeCodeConnector::memoryFiles() const { return ClaudeCodeInventory::memoryFiles(paths); }

}  // namespace larkmoor
