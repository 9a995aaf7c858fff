// One project that a harness has worked in.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "LarkmoorConnectors/Framework/ConnectorMemoryFile.h"

namespace larkmoor {

struct ConnectorProject {
    std::string path;  ///< the project's folder
    std::chrono::system_clock::time_point lastActivity;
    std::optional<ConnectorMemoryFile> memory;  ///< the project's own

    bool operator==(const ConnectorProject&) const = default;
};

}  // namespace larkmoor
