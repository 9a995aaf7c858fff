#include "LarkmoorConnectors/Codex/CodexHookIdentity.h"

#include <fmt/format.h>

#include "LarkmoorBase/SHA256.h"
#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"

namespace larkmoor {

std::string CodexHookIdentity::canonicalJSON() const {
    // Members sorted by name, and no white space.
    std::vector<JSONLiteral::Member> entry;
    if (additionalContextLimit) entry.push_back({"additionalContextLimit", *additionalContextLimit});
    entry.push_back({"async", isAsync});
    entry.push_back({"command", command});
    if (statusMessage) entry.push_back({"statusMessage", *statusMessage});
    entry.push_back({"timeout", timeout});
    entry.push_back({"type", "command"});
    std::vector<JSONLiteral::Member> document{{"event_name", event},
                                              {"hooks", JSONLiteral::array({JSONLiteral::object(std::move(entry))})}};
    if (matcher) document.push_back({"matcher", *matcher});
    return JSONLiteral::object(std::move(document)).render("", "", {.spread = false});
}

std::string CodexHookIdentity::trustedHash() const { return "sha256:" + SHA256::ofBytes(asBytes(canonicalJSON())); }

std::vector<CodexHookIdentity> CodexHookIdentity::legacyIdentities(const std::string& inScriptsDirectory,
                                                                   std::int64_t timeout) {
    constexpr std::pair<const char*, const char*> scripts[] = {
        {"rules-hook.py", "Loading Larkmoor rules"},
        {"prime-hook.py", "Loading Larkmoor memory"},
        {"larkmoor-hook.py", "Loading Larkmoor rules and memory"},
    };
    std::vector<CodexHookIdentity> identities;
    for (const auto& [script, status] : scripts) {
        identities.push_back({.command = fmt::format("python3 {}/{}", inScriptsDirectory, script),
                              .statusMessage = status,
                              .timeout = timeout});
    }
    return identities;
}

}  // namespace larkmoor
