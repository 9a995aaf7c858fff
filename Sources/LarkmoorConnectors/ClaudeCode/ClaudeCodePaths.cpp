#include "LarkmoorConnectors/ClaudeCode/ClaudeCodePaths.h"

#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"

namespace larkmoor {

ClaudeCodePaths ClaudeCodePaths::under(const std::string& home, const std::string& bundle,
                                       std::int64_t hookTimeoutSeconds) {
    return {.configDirectory = home + "/.claude",
            .settingsFile = home + "/.claude/settings.json",
            .mcpFile = home + "/.claude.json",
            .receiptFile = ReceiptStore::path(home, "claude-code"),
            .hookBinary = InstalledBundle::executable(bundle, "larkmoor-hook"),
            .mcpBinary = InstalledBundle::executable(bundle, "larkmoor-mcp"),
            .hookTimeoutSeconds = hookTimeoutSeconds};
}

std::string ClaudeCodePaths::hookCommand() const { return hookBinary + " --harness claude-code"; }

std::vector<std::string> ClaudeCodePaths::hookCommands() const {
    std::vector<std::string> commands;
    for (const char* slot : {"rules", "index", "recall"}) commands.push_back(hookCommand() + " --slot " + slot);
    return commands;
}

std::string ClaudeCodePaths::preToolCommand() const { return hookCommand() + " --slot pretool"; }

}  // namespace larkmoor
