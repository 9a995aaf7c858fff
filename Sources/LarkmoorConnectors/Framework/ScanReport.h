// What a look at a harness's files found.
#pragma once

#include <vector>

#include "LarkmoorConnectors/Framework/ConnectorIdentity.h"
#include "LarkmoorConnectors/Framework/ConnectorState.h"
#include "LarkmoorConnectors/Observation.h"

namespace larkmoor {

struct ScanReport {
    ConnectorIdentity identity;
    ConnectorState state = ConnectorState::notFound;
    std::vector<Observation> observations;

    bool operator==(const ScanReport&) const = default;
};

}  // namespace larkmoor
