// A model's manifest: which blobs it names, and which it may need.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor::ModelManifest {

/// What `ModelStore::blobNames` says of these bytes.
std::vector<std::string> blobNames(BytesView manifest);

/// Whether any text in the document is the blob's digest, wherever it stands, since the host may know of more members
/// than we do. In what is no JSON, as the first half of a document, the digest is looked for in the bytes.
bool mentions(BytesView manifest, std::string_view blob);

}  // namespace larkmoor::ModelManifest
