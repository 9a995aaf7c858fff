// Why an edit was not made.
#pragma once

#include <string>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/ConfigFile/TOMLEditError.h"
#include "LarkmoorConnectors/ConfigFile/TOMLTextError.h"

namespace larkmoor {

struct TOMLEditFailureCases {};

/// A TOMLTextError where the file did not scan, or would not have after the edit; a TOMLEditError where it does.
class [[nodiscard]] TOMLEditFailure : public ClosedVariant<TOMLEditFailureCases, TOMLTextError, TOMLEditError> {
  public:
    using ClosedVariant::ClosedVariant;

    /// That of the error held, for a person.
    std::string description() const {
        return visit([](const TOMLTextError& error) { return error.description(); },
                     [](const TOMLEditError& error) { return error.description(); });
    }
};

}  // namespace larkmoor
