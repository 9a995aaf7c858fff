// Why an edit has nothing to change, though the document reads.
#pragma once

#include <cstdint>
#include <string>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/ConfigFile/JSONStep.h"

namespace larkmoor {

struct JSONEditErrorCases {
    struct NotAnObject {
        JSONPath path;
        bool operator==(const NotAnObject&) const = default;
    };
    struct NotAnArray {
        JSONPath path;
        bool operator==(const NotAnArray&) const = default;
    };
    struct NoSuchMember {
        JSONPath path;
        std::string key;
        bool operator==(const NoSuchMember&) const = default;
    };
    struct NoSuchElement {
        JSONPath path;
        std::int64_t index = 0;
        bool operator==(const NoSuchElement&) const = default;
    };
};

/// The first two are also the answer to a path that leads nowhere.
class [[nodiscard]] JSONEditError
    : public ClosedVariant<JSONEditErrorCases, JSONEditErrorCases::NotAnObject, JSONEditErrorCases::NotAnArray,
                           JSONEditErrorCases::NoSuchMember, JSONEditErrorCases::NoSuchElement> {
  public:
    using ClosedVariant::ClosedVariant;

    /// For a person: what is not there, and where.
    std::string description() const;
};

}  // namespace larkmoor
