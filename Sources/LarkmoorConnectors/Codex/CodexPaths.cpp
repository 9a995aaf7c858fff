#include "LarkmoorConnectors/Codex/CodexPaths.h"

#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"

namespace larkmoor {

CodexPaths CodexPaths::under(const std::string& home, const std::string& bundle, std::int64_t hookTimeoutSeconds) {
    return {.configDirectory = home + "/.codex",
            .hooksFile = home + "/.codex/hooks.json",
            .configFile = home + "/.codex/config.toml",
            .receiptFile = ReceiptStore::path(home, "codex"),
            .homeAgentsFile = home + "/AGENTS.md",
            .hookBinary = InstalledBundle::executable(bundle, "larkmoor-hook"),
            .mcpBinary = InstalledBundle::executable(bundle, "larkmoor-mcp"),
            .hookTimeoutSeconds = hookTimeoutSeconds};
}

}  // namespace larkmoor
