// What the findings of one harness add up to.
#pragma once

#include <span>

#include "LarkmoorConnectors/Framework/BlockFinding.h"
#include "LarkmoorConnectors/Framework/ConnectorState.h"

namespace larkmoor::ScanJoin {

/// Never `notFound`: whether the harness is there at all is each connector's to know first.
ConnectorState state(std::span<const BlockFinding> findings);

}  // namespace larkmoor::ScanJoin
