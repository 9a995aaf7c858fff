// The sentences that every connector says alike, and the state that its findings add up to.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Framework/Block.h"
#include "LarkmoorConnectors/Framework/Connector.h"

namespace larkmoor {

namespace Observations {

/// Each distinct observation once, in order of first appearance; what was there more often says how often.
std::vector<Observation> folded(const std::vector<Observation>& list);

/// What a scan says of the finding of a block in its file.
std::vector<Observation> of(const BlockFinding& finding, const BlockFile& file, const Block& block);

}  // namespace Observations

namespace Drift {

/// Why a command that is ours is not right, for a person; none if it is. `found` and `expected` are command lines;
/// `binary` is the path of the file that the expected one names, and is looked for on the disk.
std::vector<std::string> reasons(const std::string& found, const std::string& expected, const std::string& binary);

}  // namespace Drift

namespace ScanJoin {

/// Never `notFound`: whether the harness is there at all is each connector's to know first.
ConnectorState state(std::span<const BlockFinding> findings);

}  // namespace ScanJoin

}  // namespace larkmoor
