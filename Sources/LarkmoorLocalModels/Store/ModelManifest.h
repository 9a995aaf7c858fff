// A model's manifest: which blobs it names, and which it may need.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor::ModelManifest {

/// What `ModelStore::blobNames` says of these bytes.
std::vector<std::string> blobNames(BytesView manifest);

/// Takes the blobs out of the set whose digest any text in the document is, wherever it stands, since the host may know
/// of more members than we do. In what is no JSON, as the first half of a document, they are looked for in the bytes.
void eraseMentioned(BytesView manifest, std::set<std::string>& blobs);

}  // namespace larkmoor::ModelManifest
