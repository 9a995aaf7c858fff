#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeConnector.h"

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeHook.h"
#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeInventory.h"
#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeMCP.h"
#include "LarkmoorConnectors/Framework/HookCommand.h"
#include "LarkmoorConnectors/Framework/StrictJSON.h"

namespace larkmoor {

ConnectorIdentity ClaudeCodeConnector::identity() const {
    return {"claude-code", "Claude Code", "The Claude Code CLI and Claude Code in the desktop app.", "terminal"};
}

bool ClaudeCodeConnector::isThere() const {
    return Files::exists(paths.configDirectory) || Files::exists(paths.mcpFile);
}

BlockVerbs ClaudeCodeConnector::blocks() const {
    const ClaudeCodeHook hook{paths};
    const ClaudeCodeMCP server{paths};
    return BlockVerbs{{
        {.place = {paths.settingsFile, "hook entry", paths.hookCommand()},
         .file = Created::settingsFile,
         .find = [hook](auto bytes) { return hook.find(bytes); },
         .installed = [hook](auto bytes) { return described(hook.installed(bytes)); },
         .removed = [hook](auto bytes, const auto& created) { return described(hook.removed(bytes, created)); }},
        {.place = {paths.mcpFile, "MCP server entry", paths.mcpBinary},
         .file = Created::mcpFile,
         .find = [server](auto bytes) { return server.find(bytes); },
         .installed = [server](auto bytes) { return described(server.installed(bytes)); },
         .removed = [server](auto bytes, const auto& created) { return described(server.removed(bytes, created)); }},
    }};
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
    return blocks().install(paths.configDirectory, {paths.receiptFile}, moment());
}

ConnectorOutcome ClaudeCodeConnector::remove() const { return blocks().remove({paths.receiptFile}, moment()); }

/// What may be rewritten unasked is a stale spelling or a wrong slot of our own program, never a wrong program.
bool ClaudeCodeConnector::staleOwnWiring() const {
    if (!isThere()) return false;
    const BlockVerbs read = blocks();
    const std::optional<Bytes>& settings = read.files().front().bytes;
    if (read.state() != ConnectorState::drifted || !settings) return false;
    const auto scan = StrictJSON::scan(*settings);
    if (!scan) return false;
    const auto sites = ClaudeCodeHook{paths}.sites(scan->root);
    const auto runsOurs = [this](const HookSite& site) {
        return HookCommand::program(site.command) == paths.hookBinary;
    };
    return !sites.empty() && std::ranges::all_of(sites, runsOurs) && Files::exists(paths.hookBinary);
}

ProjectReport ClaudeCodeConnector::projects() const { return ClaudeCodeInventory::projects(paths); }

MemoryFileReport ClaudeCodeConnector::memoryFiles() const { return ClaudeCodeInventory::memoryFiles(paths); }

}  // namespace larkmoor
