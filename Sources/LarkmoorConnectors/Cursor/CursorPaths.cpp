#include "LarkmoorConnectors/Cursor/CursorPaths.h"

#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"

namespace larkmoor {

CursorPaths CursorPaths::under(const std::string& home, const std::string& bundle, const std::string& applications) {
    return withApp(home, bundle, applications + "/Cursor.app");
}

CursorPaths CursorPaths::withApp(const std::string& home, const std::string& bundle, std::string cursorApp) {
    return {.configDirectory = home + "/.cursor",
            .hooksFile = home + "/.cursor/hooks.json",
            .mcpFile = home + "/.cursor/mcp.json",
            .receiptFile = ReceiptStore::path(home, "cursor"),
            .workspaceStorageDirectory = home + "/Library/Application Support/Cursor/User/workspaceStorage",
            .claudeSettingsFile = home + "/.claude/settings.json",
            .cursorApp = std::move(cursorApp),
            .hookBinary = InstalledBundle::executable(bundle, "larkmoor-hook"),
            .mcpBinary = InstalledBundle::executable(bundle, "larkmoor-mcp")};
}

std::string CursorPaths::hookCommand() const { return hookBinary + " --harness cursor"; }

std::string CursorPaths::preToolCommand() const { return hookCommand() + " --slot pretool"; }

}  // namespace larkmoor
