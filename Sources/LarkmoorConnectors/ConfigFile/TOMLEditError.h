// Why an edit found nothing to change in a TOML file that did scan.
#pragma once

#include <string>
#include <utility>

#include "LarkmoorConnectors/ConfigFile/TOMLName.h"

namespace larkmoor {

struct [[nodiscard]] TOMLEditError {
    TOMLName name;

    static TOMLEditError noSuchTable(TOMLName name) { return {std::move(name)}; }

    /// "[{name}] is not in this file", for a person.
    std::string description() const;

    bool operator==(const TOMLEditError&) const = default;
};

}  // namespace larkmoor
