#include "LarkmoorConnectors/Connectors.h"

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeConnector.h"
#include "LarkmoorConnectors/Codex/CodexConnector.h"
#include "LarkmoorConnectors/Cursor/CursorConnector.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "LarkmoorConnectors/OpenCode/OpenCodeConnector.h"

namespace larkmoor::Connectors {

std::vector<std::unique_ptr<Connector>> all(const std::string& home, const std::string& bundle,
                                            const std::string& applications) {
    std::vector<std::unique_ptr<Connector>> connectors;
    connectors.push_back(std::make_unique<ClaudeCodeConnector>(home, bundle));
    connectors.push_back(std::make_unique<CodexConnector>(home, bundle));
    connectors.push_back(std::make_unique<CursorConnector>(home, bundle, applications));
    connectors.push_back(std::make_unique<OpenCodeConnector>(home, bundle));
    return connectors;
}

std::vector<ClaudeChatRetirement> retirements(const std::string& home, const std::string& bundle, Profile profile) {
    return {{.paths = ClaudeChatPaths::under(home, bundle), .profile = profile}};
}

std::string mcpCommand(const std::string& bundle) { return InstalledBundle::executable(bundle, "larkmoor-mcp"); }

}  // namespace larkmoor::Connectors
