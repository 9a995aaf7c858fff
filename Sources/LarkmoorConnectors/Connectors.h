// All harnesses that Larkmoor joins, in the order in which it names them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "LarkmoorConnectors/ClaudeChat/ClaudeChatRetirement.h"
#include "LarkmoorConnectors/Framework/Connector.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"

namespace larkmoor::Connectors {

/// `home` is the user's home folder, `bundle` the installed application bundle, `applications` the folder in which
/// other applications lie.
std::vector<std::unique_ptr<Connector>> all(const std::string& home, const std::string& bundle,
                                            const std::string& applications);

/// What earlier builds connected and this one takes back.
std::vector<ClaudeChatRetirement> retirements(const std::string& home, const std::string& bundle, Profile profile);

/// The path of the executable that harnesses start as our server.
std::string mcpCommand(const std::string& bundle);

}  // namespace larkmoor::Connectors
