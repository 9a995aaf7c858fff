// The two halves of the comparison. Each prints its rows; false if the parties do not do the same work.
#pragma once

namespace larkmoor::bench {

bool runJSONRows();
bool runTOMLRows();

}  // namespace larkmoor::bench
