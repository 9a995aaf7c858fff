// The MCP server entry in a JSON file whose `mcpServers` object goes from a server's name to how it is started. The key
// is ours by its name, so no entry has to prove whose it is. Pure functions over documents of the strict dialect, but
// that `find` asks whether the executable is on the disk.
#pragma once

#include <expected>
#include <set>
#include <string>

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/Framework/Block.h"

namespace larkmoor {

struct ServerEntry {
    std::string command;  ///< the executable's path
    Created object;       ///< noted when an install makes `mcpServers`

    /// What this build writes.
    JSONLiteral entry() const;

    BlockFinding find(const JSONDocument& document) const;
    /// A whole entry that differs is replaced, with whatever the user put into it.
    std::expected<BlockInstalled, JSONEditFailure> installed(const JSONDocument& document) const;
    std::expected<BlockRemoved, JSONEditFailure> removed(const JSONDocument& document,
                                                         const std::set<Created>& created) const;
};

}  // namespace larkmoor
