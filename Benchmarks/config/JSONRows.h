// The JSON half of the comparison.
#pragma once

namespace larkmoor::bench {

/// Prints its rows; false if the parties do not do the same work.
bool runJSONRows();

}  // namespace larkmoor::bench
