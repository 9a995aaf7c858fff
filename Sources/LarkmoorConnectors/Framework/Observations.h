// Messages that all connectors share, and the connection state that follows from their findings.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Framework/Block.h"
#include "LarkmoorConnectors/Framework/Connector.h"

namespace larkmoor {

namespace Observations {

/// Removes duplicates, keeping the order of first appearance; a repeated observation gets a count: "(2 entries)".
std::vector<Observation> folded(const std::vector<Observation>& list);

/// What a scan reports about the finding of a block in its file.
std::vector<Observation> of(const BlockFinding& finding, const BlockFile& file, const Block& block);

}  // namespace Observations

namespace Drift {

/// Why a command of ours is not the expected one, for the user; empty if it is. `found` and `expected` are command
/// lines; `binary` is the path of the executable in the expected one, which must exist.
std::vector<std::string> reasons(const std::string& found, const std::string& expected, const std::string& binary);

}  // namespace Drift

namespace ScanJoin {

/// Never returns `notFound`: the connector checks first whether the harness has a configuration.
ConnectorState state(std::span<const BlockFinding> findings);

}  // namespace ScanJoin

}  // namespace larkmoor
