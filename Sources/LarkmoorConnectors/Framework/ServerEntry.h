// The MCP server entry in a JSON file whose `mcpServers` object maps a server's name to how it is started. Any entry
// under our key "larkmoor" counts as ours, whatever it contains. Pure functions over documents of the strict dialect,
// except that `find` checks whether the executable exists.
#pragma once

#include <expected>
#include <set>
#include <string>

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/Framework/Block.h"

namespace larkmoor {

struct ServerEntry {
    std::string command;  ///< the executable's path
    Created object;       ///< noted in the receipt when an installation creates `mcpServers`

    /// What this build writes.
    JSONLiteral entry() const;

    BlockFinding find(const JSONDocument& document) const;
    /// An entry that differs is replaced as a whole, together with anything that the user added to it.
    std::expected<BlockInstalled, JSONEditFailure> installed(const JSONDocument& document) const;
    std::expected<BlockRemoved, JSONEditFailure> removed(const JSONDocument& document,
                                                         const std::set<Created>& created) const;
};

}  // namespace larkmoor
