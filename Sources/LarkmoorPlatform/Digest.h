// Digests of bytes.
#pragma once

#include <string>

#include "LarkmoorPlatform/Bytes.h"

namespace larkmoor::Digest {

/// SHA-256 (FIPS 180-4) in lower-case hexadecimal, 64 digits.
std::string sha256(BytesView bytes);

}  // namespace larkmoor::Digest
