// The server entry in Claude Code's user file. Maps bytes to bytes and touches no file.
#pragma once

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodePaths.h"
#include "LarkmoorConnectors/Framework/ServerEntry.h"

namespace larkmoor {

struct ClaudeCodeMCP {
    ClaudeCodePaths paths;

    JSONLiteral entry() const { return server().entry(); }
    BlockFinding find(std::optional<BytesView> bytes) const { return server().find(bytes); }
    std::expected<BlockInstalled, JSONEditFailure> installed(BytesView bytes) const {
        return server().installed(bytes);
    }
    std::expected<BlockRemoved, JSONEditFailure> removed(BytesView bytes, const std::set<Created>& created) const {
        return server().removed(bytes, created);
    }
    std::optional<std::string> unreadableReason(BytesView bytes) const { return server().unreadableReason(bytes); }

  private:
    ServerEntry server() const { return {paths.mcpBinary, Created::mcpServersObject}; }
};

}  // namespace larkmoor
