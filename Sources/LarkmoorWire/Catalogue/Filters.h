// The key-value filters of memories, and how they are counted.
#pragma once

#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/FilterValue.h"

namespace larkmoor {

LARKMOOR_RECORD(FilterPair, (std::string, key), (FilterValue, value))

LARKMOOR_RECORD(FilterValueCount, (FilterValue, value), (Int, count))

LARKMOOR_RECORD(FilterKeyCount, (std::string, key), (Int, count))

LARKMOOR_RECORD(FilterKeyCensus, (std::string, key), (Int, count), (std::vector<FilterValueCount>, values))

LARKMOOR_RECORD(KindCount, (std::string, kind), (Int, count), (std::optional<std::vector<FilterKeyCount>>, filters))

LARKMOOR_RECORD(NameCount, (std::string, name), (Int, count))

}  // namespace larkmoor
