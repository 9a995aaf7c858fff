// What a harness is called, for machines and for people.
#pragma once

#include <string>

namespace larkmoor {

struct ConnectorIdentity {
    std::string id;      ///< stable: the hook command's harness flag, and the stem of the receipt's name
    std::string name;    ///< for display
    std::string detail;  ///< one sentence for the user
    std::string symbol;  ///< the name of a system symbol image

    bool operator==(const ConnectorIdentity&) const = default;
};

}  // namespace larkmoor
