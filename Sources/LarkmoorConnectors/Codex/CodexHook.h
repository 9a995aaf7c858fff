// The hook entry in Codex's hooks file, as pure functions over the file's document: no file is read or written, except
// that `find` checks whether the executable exists.
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Codex/CodexHookIdentity.h"
#include "LarkmoorConnectors/Codex/CodexPaths.h"
#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/Framework/HookLayout.h"

namespace larkmoor {

/// An entry of ours, with all that its trusted hash covers.
struct CodexHookSite : HookSite {
    std::optional<std::string> statusMessage{};
    std::optional<std::int64_t> timeout{};  ///< nullopt too if the file's value is not written as a whole number
    std::optional<std::string> matcher{};
    bool isAsync = false;
    std::optional<std::int64_t> additionalContextLimit{};  ///< like `timeout`

    /// What Codex hashes of it; nullopt without a timeout.
    std::optional<CodexHookIdentity> identity() const;

    bool operator==(const CodexHookSite&) const = default;
};

/// A place under UserPromptSubmit.
struct CodexHookPosition {
    std::int64_t group = 0;
    std::int64_t entry = 0;  ///< in the group

    bool operator==(const CodexHookPosition&) const = default;
};

struct CodexHook {
    CodexPaths paths;

    HookLayout layout() const;
    JSONLiteral entry() const;
    JSONLiteral group() const;
    /// Of `entry`.
    CodexHookIdentity identity() const;

    BlockFinding find(const JSONDocument& document) const;
    /// Under any event whatever, in file order.
    std::vector<CodexHookSite> sites(const JSONDocument& document) const;
    /// The user's entries stay where they are, unless a second entry of ours is discarded before them: see
    /// `movedForeignEntries`.
    std::expected<BlockInstalled, JSONEditFailure> installed(const JSONDocument& document) const;
    std::expected<BlockRemoved, JSONEditFailure> removed(const JSONDocument& document,
                                                         const std::set<Created>& created) const;

    /// The site that Codex runs and an installation keeps: the first of ours under UserPromptSubmit.
    std::optional<CodexHookSite> located(const JSONDocument& document) const;
    static std::optional<CodexHookSite> locatedAmong(std::span<const CodexHookSite> sites);
    /// Where an installation puts our entry if there is no such site.
    static CodexHookPosition appendedAt(const JSONNode& root);

    /// Whether UserPromptSubmit has an entry there, ours or not.
    static bool liveIndex(const JSONNode& root, std::int64_t group, std::int64_t index);

    /// How many entries that are not ours are in both documents, but at another place. Codex trusts an entry by its
    /// event and place, so that it no longer runs one that was moved.
    std::size_t movedForeignEntries(const JSONDocument& from, const JSONDocument& to) const;
};

}  // namespace larkmoor
