// What Codex hashes when it decides whether a hook is trusted. The document must be Codex's own to the byte: one blank
// more, and Codex silently stops running the hook. Pure functions for any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace larkmoor {

/// The fields of one hook under UserPromptSubmit that its hash covers.
struct CodexHookIdentity {
    /// The event in Codex's spelling, in hashed documents and in the keys of trust records.
    static constexpr const char* event = "user_prompt_submit";

    std::string command;
    std::optional<std::string> statusMessage{};
    std::int64_t timeout = 0;              ///< in seconds
    std::optional<std::string> matcher{};  ///< the group's
    bool isAsync = false;
    std::optional<std::int64_t> additionalContextLimit{};

    /// The document that is hashed.
    std::string canonicalJSON() const;

    /// "sha256:" and 64 lower-case hexadecimal digits.
    std::string trustedHash() const;

    /// The entries that the first builds wrote, each for a script in this folder.
    static std::vector<CodexHookIdentity> legacyIdentities(const std::string& inScriptsDirectory, std::int64_t timeout);

    bool operator==(const CodexHookIdentity&) const = default;
};

}  // namespace larkmoor
