// The seal of a bundle as a whole: a manifest of all that is in it, which is sealed like an executable.
//
// Contents/Seal/manifest is text, a line for each entry below the bundle, sorted by the bytes of the paths; only the
// manifest and its seal are not listed, which are plain files, nor the bundle's own folder, of mode 0755. The fields
// are separated by tabs, modes are four octal digits:
//
//   larkmoor-manifest 1
//   folder {mode} {path}
//   file {mode} {SHA-256} {path}
//   link {target} {path}
#pragma once

#include <string>

#include "LarkmoorVerify/Seal.h"

namespace larkmoor::BundleSeal {

/// Who sealed the bundle, by its manifest alone.
std::expected<PublicKey, Objection> signer(const std::string& bundle);

/// The same, and whether all that is in the bundle is as the manifest has it.
std::expected<PublicKey, Objection> check(const std::string& bundle);

}  // namespace larkmoor::BundleSeal
