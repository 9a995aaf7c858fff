// The blocks in Claude Code's files, as pure functions over the files' documents: no file is read or written, except
// that `find` checks whether the executable exists.
#pragma once

#include <expected>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodePaths.h"
#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/Framework/HookLayout.h"
#include "LarkmoorConnectors/Framework/ServerEntry.h"

namespace larkmoor {

/// The hook entries in the settings: three that run before a prompt, adjacent in one group, and one in a group of its
/// own that runs before each tool of ours.
struct ClaudeCodeHook {
    ClaudeCodePaths paths;

    HookLayout layout() const;
    JSONLiteral entry(const std::string& command) const;
    /// The three prompt entries.
    std::vector<JSONLiteral> entries() const;
    JSONLiteral preToolGroup() const;

    BlockFinding find(const JSONDocument& document) const;
    std::vector<HookSite> sites(const JSONNode& root) const;
    /// An up-to-date file is returned unchanged.
    std::expected<BlockInstalled, JSONEditFailure> installed(const JSONDocument& document) const;
    std::expected<BlockRemoved, JSONEditFailure> removed(const JSONDocument& document,
                                                         const std::set<Created>& created) const;

    // The sites are those found in the document.

    /// Whether the block is exactly what this build writes.
    bool converged(std::span<const HookSite> sites, const JSONDocument& document) const;
    /// Whether the site is the entry of exactly the pre-tool group.
    bool isExactPreTool(const HookSite& site, const JSONDocument& document) const;

    // The steps of `installed`, for a file from which all our other entries were removed.

    JSONEdit::Result installedSlots(const JSONDocument& document, std::set<Created>& created) const;
    JSONEdit::Result installedPreTool(const JSONDocument& document, std::set<Created>& created) const;

  private:
    std::optional<HookSite> exactPreTool(std::span<const HookSite> sites, const JSONDocument& document) const;
};

/// The server entry in the user file.
struct ClaudeCodeMCP : ServerEntry {
    explicit ClaudeCodeMCP(const ClaudeCodePaths& paths) : ServerEntry{paths.mcpBinary, Created::mcpServersObject} {}
};

}  // namespace larkmoor
