// Which service the MCP bridge dials.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace larkmoor::MCPGatewayName {

/// Names another service, for tests; one outside `testPrefix` is not believed.
inline constexpr std::string_view overrideKey = "LARKMOOR_MCP_GATEWAY_FOR_TESTS";
inline constexpr std::string_view testPrefix = "tools.fenwright.larkmoor.test.";

/// The daemon's service, or the test service that `env` names with the prefix and at least one character after it.
std::string resolve(const std::map<std::string, std::string>& env);

}  // namespace larkmoor::MCPGatewayName
