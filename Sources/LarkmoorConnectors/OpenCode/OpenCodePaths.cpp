#include "LarkmoorConnectors/OpenCode/OpenCodePaths.h"

#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"

namespace larkmoor {

OpenCodePaths OpenCodePaths::under(const std::string& home, const std::string& bundle) {
    const std::string config = home + "/.config/opencode";
    return {.configDirectory = config,
            .configFile = config + "/opencode.jsonc",
            .pluginsDirectory = config + "/plugins",
            .pluginFile = config + "/plugins/larkmoor.js",
            .receiptFile = ReceiptStore::path(home, "opencode"),
            .homeAgentsFile = home + "/AGENTS.md",
            .dataDirectory = home + "/.local/share/opencode",
            .hookBinary = InstalledBundle::executable(bundle, "larkmoor-hook"),
            .mcpBinary = InstalledBundle::executable(bundle, "larkmoor-mcp")};
}

std::string OpenCodePaths::hookCommand() const { return hookBinary + " --harness opencode"; }

std::string OpenCodePaths::sessionDatabase() const { return dataDirectory + "/opencode.db"; }

std::string OpenCodePaths::configAgentsFile() const { return configDirectory + "/AGENTS.md"; }

}  // namespace larkmoor
