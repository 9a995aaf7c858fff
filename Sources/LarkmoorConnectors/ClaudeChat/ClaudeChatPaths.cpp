#include "LarkmoorConnectors/ClaudeChat/ClaudeChatPaths.h"

#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "LarkmoorConnectors/Framework/ReceiptStore.h"

namespace larkmoor {

ClaudeChatPaths ClaudeChatPaths::under(const std::string& home, const std::string& bundle) {
    const std::string folder = home + "/Library/Application Support/Claude";
    return {.configDirectory = folder,
            .configFile = folder + "/claude_desktop_config.json",
            .receiptFile = ReceiptStore::path(home, "claude-chat"),
            .mcpBinary = InstalledBundle::executable(bundle, "larkmoor-mcp")};
}

}  // namespace larkmoor
