// How a literal is laid out.
#pragma once

#include <string>

namespace larkmoor {

struct RenderStyle {
    bool spread = false;         ///< containers over lines, or all of it on one
    std::string newline = "\n";  ///< between those lines

    bool operator==(const RenderStyle&) const = default;
};

}  // namespace larkmoor
