// Codex's trust records: tables [hooks.state."{hooks file}:{event}:{group}:{entry}"] of its configuration file, each
// with the hash of the hook at that place. Codex runs no hook without one. Pure functions for any thread.
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorConnectors/Codex/CodexHook.h"
#include "LarkmoorConnectors/ConfigFile/TOMLEdit.h"
#include "LarkmoorConnectors/Framework/Block.h"

namespace larkmoor {

/// The key of one record, which names the place of a hook.
struct CodexTrustSlot {
    std::string key;        ///< all of it
    std::string hooksPath;  ///< may hold colons
    std::string event;      ///< in Codex's spelling
    std::int64_t group = 0;
    std::int64_t index = 0;  ///< of the entry in the group

    /// nullopt if the key does not name a place.
    static std::optional<CodexTrustSlot> parse(std::string_view key);

    /// The table of the record with this key.
    static TOMLName table(std::string_view key);

    bool operator==(const CodexTrustSlot&) const = default;
};

struct CodexTrust {
    CodexPaths paths;

    /// Those of the records that deserve attention, by their keys.
    struct Judgement {
        std::vector<std::string> stale;    ///< ours, and out of date
        std::vector<std::string> foreign;  ///< somebody else's, although our hook once had such a hash
    };

    /// The records for prompt hooks of our hooks file.
    std::vector<CodexTrustSlot> slots(const TOMLDocument& in) const;
    static std::optional<std::string> recordedHash(std::string_view key, const TOMLDocument& in);
    /// Whether the user switched the hook off.
    static bool isSwitchedOff(std::string_view key, const TOMLDocument& in);

    /// The hashes that any build of ours can have recorded for these sites.
    static std::set<std::string> knownHashes(const CodexHookIdentity& current, std::span<const CodexHookSite> sites);

    /// `occupied` is the key of our entry's place, which is not judged; `liveIndex` tells whether there is a hook at a
    /// place.
    Judgement judge(const TOMLDocument& document, std::string_view occupied, const std::set<std::string>& receiptSlots,
                    const std::set<std::string>& known,
                    const std::function<bool(std::int64_t group, std::int64_t index)>& liveIndex) const;

    /// `site` is the entry of ours that Codex runs. Unlike other blocks' reasons these are whole sentences.
    BlockFinding find(const TOMLDocument& document, const std::optional<CodexHookSite>& site) const;

    /// Records the hash; everything else in an existing record stays.
    static std::expected<BlockInstalled, TOMLEditFailure> installed(const TOMLFile& file, std::string_view key,
                                                                    const std::string& hash);
    /// Removes the hashes with these keys, and the records that hold nothing else.
    static std::expected<TOMLFile, TOMLEditFailure> removed(TOMLFile file, std::span<const std::string> keys);

    /// The key of the record for that place in our hooks file.
    std::string keyOf(CodexHookPosition at) const;
    std::string keyOf(const HookSite& site) const { return keyOf(CodexHookPosition{site.group, site.entry}); }

    // Messages for the user.

    std::string noWholeTimeout() const;
    std::string switchedOff() const;
    static std::string foreignSlot(std::string_view key);
};

}  // namespace larkmoor
