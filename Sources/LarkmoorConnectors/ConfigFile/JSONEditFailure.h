// Why an edit was not made.
#pragma once

#include <string>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/ConfigFile/JSONEditError.h"
#include "LarkmoorConnectors/ConfigFile/JSONTextError.h"

namespace larkmoor {

struct JSONEditFailureCases {};

/// A JSONTextError where the document did not scan, or would not have after the edit; a JSONEditError where it does.
class [[nodiscard]] JSONEditFailure : public ClosedVariant<JSONEditFailureCases, JSONTextError, JSONEditError> {
  public:
    using ClosedVariant::ClosedVariant;

    /// That of the error held, for a person.
    std::string description() const {
        return visit([](const JSONTextError& error) { return error.description(); },
                     [](const JSONEditError& error) { return error.description(); });
    }
};

}  // namespace larkmoor
