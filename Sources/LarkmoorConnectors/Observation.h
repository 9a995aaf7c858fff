// A message of a connector: one plain sentence about one file or other place. Connectors explain their results in no
// other way.
#pragma once

#include <string>

namespace larkmoor {

struct Observation {
    std::string subject;  ///< a path, or another name of the place
    std::string text;     ///< the sentence, without its subject

    bool operator==(const Observation&) const = default;
};

}  // namespace larkmoor
