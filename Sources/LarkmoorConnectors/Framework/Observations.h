// The sentences that every connector says alike.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorConnectors/Framework/BlockFinding.h"
#include "LarkmoorConnectors/Observation.h"

namespace larkmoor::Observations {

/// Each distinct observation once, in order of first appearance; what was there more often says how often.
std::vector<Observation> folded(const std::vector<Observation>& list);

/// Where a block stands, and the words for it.
struct Place {
    std::string file;                  ///< the path, as the user knows it
    std::string_view noun;             ///< "hook entry"
    std::string command;               ///< what the block should run
    std::string_view format = "JSON";  ///< of the file
};

/// What a scan says of one finding.
std::vector<Observation> of(const BlockFinding& finding, const Place& place);

}  // namespace larkmoor::Observations
