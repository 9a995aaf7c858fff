// The TOML half of the comparison.
#pragma once

namespace larkmoor::bench {

/// Prints its rows; false if the parties do not do the same work.
bool runTOMLRows();

}  // namespace larkmoor::bench
