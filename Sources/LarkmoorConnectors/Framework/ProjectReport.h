// The projects of one harness.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Framework/ConnectorProject.h"

namespace larkmoor {

struct ProjectReport {
    std::optional<std::string> source;  ///< where the list was read from
    std::vector<ConnectorProject> projects;
    std::optional<std::string> note;  ///< why the list is empty

    bool operator==(const ProjectReport&) const = default;
};

}  // namespace larkmoor
