// What lies in a folder of somebody else's.
#pragma once

#include <string>
#include <vector>

namespace larkmoor {

/// The names, in plain order of their bytes; none where the folder cannot be listed.
std::vector<std::string> namesInFolder(const std::string& folder);

}  // namespace larkmoor
