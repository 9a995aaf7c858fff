#include "LarkmoorPlatform/FreedMemory.h"

#include <malloc.h>

namespace larkmoor {

void returnFreedMemory() noexcept { ::malloc_trim(0); }

}  // namespace larkmoor
