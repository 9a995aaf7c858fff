// Short ways between text and bytes for tests.
#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor::testing {

inline std::string text(const Bytes& bytes) { return std::string{asText(bytes)}; }

/// A file under Tests/Data, whole.
inline std::string testData(const std::string& name) {
    std::ifstream file{LARKMOOR_TEST_DATA "/" + name, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

}  // namespace larkmoor::testing
