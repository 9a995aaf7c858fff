// All harnesses that Larkmoor connects with, in the order in which it lists them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "LarkmoorConnectors/ClaudeChat/ClaudeChatRetirement.h"
#include "LarkmoorConnectors/Framework/Connector.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"

namespace larkmoor::Connectors {

/// `home` is the user's home folder, `bundle` the installed application bundle, `applications` the folder of other
/// applications.
std::vector<std::unique_ptr<Connector>> all(const std::string& home, const std::string& bundle,
                                            const std::string& applications);

/// The connections of earlier builds that this build removes.
std::vector<ClaudeChatRetirement> retirements(const std::string& home, const std::string& bundle, Profile profile);

/// The path of the executable that harnesses start as our server.
std::string mcpCommand(const std::string& bundle);

}  // namespace larkmoor::Connectors
