// What one file is to become. It is all decided in memory, before anything is touched.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorConnectors/Framework/HarnessFile.h"

namespace larkmoor {

struct PlannedFile {
    HarnessFile file;
    std::optional<Bytes> after;        ///< nothing if the file must go
    std::string_view what = "entry";   ///< the noun of what is ours in it
    std::string_view format = "JSON";  ///< of the file

    bool changes() const { return file.bytes != after; }
};

/// Why there is no plan for a file; `reason` is for a person.
struct [[nodiscard]] PlanFailure {
    std::string file, reason;
};

}  // namespace larkmoor
