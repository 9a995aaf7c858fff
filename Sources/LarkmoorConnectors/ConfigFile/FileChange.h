// One planned change of one file.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor {

struct FileChange {
    std::string path;             ///< where to write; canonical already, see ConfigPath
    std::string label;            ///< the path as the user knows it, before links are resolved
    std::optional<Bytes> before;  ///< what the file held when it was read; nothing if it was not there
    std::optional<Bytes> after;   ///< what it must hold; nothing if it must go
};

}  // namespace larkmoor
