// What --help says.
#pragma once

namespace larkmoor::modelhost {

void printHelp();

}  // namespace larkmoor::modelhost
