// The hook entries in Claude Code's settings: three that run before a prompt, adjacent in one group, and one in a group
// of its own that runs before each tool of ours. Maps bytes to bytes and touches no file.
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

namespace larkmoor {

struct ClaudeCodeHook {
    ClaudeCodePaths paths;

    JSONLiteral entry(const std::string& command) const;
    /// The three prompt entries.
    std::vector<JSONLiteral> entries() const;
    JSONLiteral preToolGroup() const;

    BlockFinding find(std::optional<BytesView> bytes) const;
    std::vector<HookSite> sites(const JSONNode& root) const;
    /// An up-to-date file comes back as it is.
    std::expected<BlockInstalled, JSONEditFailure> installed(BytesView bytes) const;
    std::expected<BlockRemoved, JSONEditFailure> removed(BytesView bytes, const std::set<Created>& created) const;
    std::optional<std::string> unreadableReason(BytesView bytes) const;

    // `root` is the scan of `bytes`, and the sites are those found in it.

    /// Whether the block is exactly what this build writes.
    bool converged(std::span<const HookSite> sites, const JSONNode& root, BytesView bytes) const;
    /// Whether the site is the entry of exactly the pre-tool group.
    bool isExactPreTool(const HookSite& site, const JSONNode& root, BytesView bytes) const;

    // The steps of `installed`.

    StrictJSON::Edited installedSlots(BytesView bytes, std::set<Created>& created) const;
    StrictJSON::Edited installedPreTool(BytesView bytes, std::set<Created>& created) const;
    StrictJSON::Edited discard(const HookSite& site, BytesView bytes) const;

  private:
    HookLayout layout() const;
    std::optional<HookSite> exactPreTool(std::span<const HookSite> sites, const JSONNode& root, BytesView bytes) const;
    /// The first site that an install has no use for; nothing when there is none.
    std::optional<HookSite> firstToDiscard(const JSONNode& root, BytesView bytes) const;
    std::vector<std::string> driftReasons(std::span<const HookSite> sites, const JSONNode& root, BytesView bytes) const;
};

}  // namespace larkmoor
