#include "LarkmoorConnectors/Framework/ScanJoin.h"

#include <algorithm>

namespace larkmoor::ScanJoin {

ConnectorState state(std::span<const BlockFinding> findings) {
    const auto isConnected = [](const BlockFinding& finding) { return finding.is<BlockFinding::Connected>(); };
    const auto isOurs = [&](const BlockFinding& finding) {
        return isConnected(finding) || finding.is<BlockFinding::Drifted>();
    };
    if (std::ranges::all_of(findings, isConnected)) return ConnectorState::connected;
    return std::ranges::any_of(findings, isOurs) ? ConnectorState::drifted : ConnectorState::found;
}

}  // namespace larkmoor::ScanJoin
