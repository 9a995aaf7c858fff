// The server table in Codex's configuration file, [mcp_servers.larkmoor], as pure functions over the file's document:
// no file is read or written, except that `find` checks whether the executable exists.
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Codex/CodexPaths.h"
#include "LarkmoorConnectors/ConfigFile/TOMLEdit.h"
#include "LarkmoorConnectors/Framework/Block.h"

namespace larkmoor {

struct CodexMCP {
    CodexPaths paths;

    enum class Ownership { ours, foreign };
    using Entries = std::span<const TOMLEntry>;

    static const TOMLName& tableName();

    // `createdByUs`: the receipt says that we made the table.

    BlockFinding find(const TOMLDocument& document, bool createdByUs) const;
    /// Why the table must neither be rewritten nor removed, for the user; nullopt if it may be.
    std::optional<std::string> refusalReason(const TOMLDocument& document, bool createdByUs) const;

    // For a file that `refusalReason` does not refuse.

    /// A table that differs is replaced as a whole; its notes say how many comments that costs.
    std::expected<BlockInstalled, TOMLEditFailure> installed(const TOMLFile& file) const;
    static std::expected<TOMLFile, TOMLEditFailure> removed(TOMLFile file);

    Ownership ownership(Entries of, bool createdByUs) const;
    /// Whether the entries are exactly what this build writes, in any order and spelling.
    bool matchesOurShape(Entries entries) const;
    /// The tables below ours, which this build never writes.
    static std::vector<TOMLTable> subTables(const TOMLDocument& in);
    /// How many lines of the table are comments that a rewrite loses.
    static std::int64_t interiorComments(const TOMLTable& table, const TOMLFile& in);
};

}  // namespace larkmoor
