// Why a command that is ours is not right.
#pragma once

#include <string>
#include <vector>

namespace larkmoor::Drift {

/// For a person, and none if the command is right. `found` and `expected` are command lines; `binary` is the path of
/// the file that the expected one names, and is looked for on the disk.
std::vector<std::string> reasons(const std::string& found, const std::string& expected, const std::string& binary);

}  // namespace larkmoor::Drift
