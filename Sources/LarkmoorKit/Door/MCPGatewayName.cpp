#include "LarkmoorKit/Door/MCPGatewayName.h"

#include "LarkmoorBase/Text.h"
#include "LarkmoorKit/Door/XPCEndpoint.h"

namespace larkmoor::MCPGatewayName {

std::string resolve(const std::map<std::string, std::string>& env) {
    if (const auto named = env.find(std::string{overrideKey}); named != env.end()) {
        const std::string_view service = trimmed(named->second);
        if (service.starts_with(testPrefix) && service.size() > testPrefix.size()) return std::string{service};
    }
    return std::string{XPCEndpoint::machServiceName};
}

}  // namespace larkmoor::MCPGatewayName
