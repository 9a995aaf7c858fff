// The memory files of one harness.
#pragma once

#include <vector>

#include "LarkmoorConnectors/Framework/ConnectorMemoryFile.h"

namespace larkmoor {

struct MemoryFileReport {
    std::vector<ConnectorMemoryFile> files;

    bool operator==(const MemoryFileReport&) const = default;
};

}  // namespace larkmoor
