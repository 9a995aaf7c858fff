// How a transaction over configuration files ended.
#pragma once

#include <string>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/Observation.h"

namespace larkmoor {

struct TransactionResultCases {
    /// Every file holds its new bytes.
    struct Committed {
        std::vector<std::string> backups;       ///< the paths of the copies made
        std::vector<Observation> observations;  ///< one for each copy
        bool operator==(const Committed&) const = default;
    };
    /// No file was changed, or the observations say which was not put back and where its copy lies.
    struct Refused {
        std::vector<Observation> observations;  ///< what went wrong first, then what came of it
        bool operator==(const Refused&) const = default;
    };
    /// There was nothing to do, and no file was touched.
    struct Unchanged {
        bool operator==(const Unchanged&) const = default;
    };
};

using TransactionResult = ClosedVariant<TransactionResultCases, TransactionResultCases::Committed,
                                        TransactionResultCases::Refused, TransactionResultCases::Unchanged>;

}  // namespace larkmoor
