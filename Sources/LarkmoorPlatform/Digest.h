// Digests of bytes.
#pragma once

#include <string>

#include "LarkmoorPlatform/Bytes.h"

namespace larkmoor::Digest {

/// SHA-256 (FIPS 180-4) in lower-case hexadecimal, 64 digits. For documents, not for gigabytes: it is written out here
/// since a library's first digest costs the resident program more memory than its whole heap.
std::string sha256(BytesView bytes);

}  // namespace larkmoor::Digest
