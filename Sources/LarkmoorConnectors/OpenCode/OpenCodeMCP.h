// The server entry in OpenCode's configuration, the member `larkmoor` of its `mcp` object. The key alone proves
// nothing: an entry is ours by its command or by the receipt. Pure functions over documents of the dialect with
// comments, except that `find` checks whether the executable exists.
#pragma once

#include <cstddef>
#include <expected>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/Framework/Block.h"
#include "LarkmoorConnectors/OpenCode/OpenCodePaths.h"

namespace larkmoor {

struct OpenCodeMCPOwnershipCases {
    struct Ours {
        bool operator==(const Ours&) const = default;
    };
    /// Ours by its command, but with something that this build does not write.
    struct Foreign {
        std::string extra;  ///< what that is; goes on after "the entry "
        bool operator==(const Foreign&) const = default;
    };
    struct HandWritten {
        bool operator==(const HandWritten&) const = default;
    };
};

struct OpenCodeMCP {
    OpenCodePaths paths;

    using Ownership = ClosedVariant<OpenCodeMCPOwnershipCases, OpenCodeMCPOwnershipCases::Ours,
                                    OpenCodeMCPOwnershipCases::Foreign, OpenCodeMCPOwnershipCases::HandWritten>;

    /// What a configuration that does not exist is edited as.
    static constexpr std::string_view seed = "{}\n";
    /// What the user is told of an entry with `enabled` false, which no verb changes.
    static constexpr std::string_view switchedOff =
        "the Larkmoor MCP entry here is switched off, so OpenCode does not start it";

    /// What this build writes.
    JSONLiteral entry() const;

    // Of an entry; `createdByUs` is the receipt's word for it.

    /// The path that it runs; nullopt if it states none.
    static std::optional<std::string_view> statedCommand(const JSONNode& of);
    /// Whether it is what this build writes, switched on or off; members that we do not write are not looked at.
    bool shapeMatches(const JSONNode& entry) const;
    /// What it has that this build would not write; nullopt if nothing.
    static std::optional<std::string> extras(const JSONNode& of);
    Ownership ownership(const JSONNode& of, bool createdByUs) const;

    // Of the document.

    /// Our entry or another in its place; null if there is none, valid as long as the document is.
    static const JSONNode* entryIn(const JSONDocument& document);
    static bool isSwitchedOff(const JSONDocument& in);
    /// Whether the entry is an empty object or array.
    static bool isAdoptableShell(const JSONDocument& in);
    /// Why it must not be edited although it scans: duplicate keys. nullopt if there are none.
    static std::optional<std::string> unreadableReason(const JSONDocument& document);
    /// Why no verb may write: the entry is somebody's own. nullopt if it is not.
    std::optional<std::string> refusalReason(const JSONDocument& in, bool createdByUs) const;
    BlockFinding find(const JSONDocument& in, bool createdByUs) const;

    struct Installed {
        JSONDocument document;
        std::set<Created> created{};       ///< what the installation had to create
        std::size_t commentsReplaced = 0;  ///< inside the entry
    };

    /// Adds the entry, or corrects its members; `enabled` keeps its value.
    std::expected<Installed, JSONEditFailure> installed(const JSONDocument& in) const;
    /// Removes the entry, or only its members if an empty one was adopted.
    static std::expected<BlockRemoved, JSONEditFailure> removed(const JSONDocument& in,
                                                                const std::set<Created>& created,
                                                                const std::set<Adopted>& adopted);
};

}  // namespace larkmoor
