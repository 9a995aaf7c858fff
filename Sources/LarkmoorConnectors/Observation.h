// One plain sentence about one place: the only way in which a connector explains itself.
#pragma once

#include <string>

namespace larkmoor {

struct Observation {
    std::string subject;  ///< a path, or another name of the place
    std::string text;     ///< the sentence, without its subject

    bool operator==(const Observation&) const = default;
};

}  // namespace larkmoor
