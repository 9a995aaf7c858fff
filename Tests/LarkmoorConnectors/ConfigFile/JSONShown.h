// What an edit gave, in one text for a table to state.
#pragma once

#include <string>

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "Support/Text.h"

namespace larkmoor::testing {

inline std::string shown(const JSONEdit::Result& result) {
    return result ? text(*result) : "refused: " + result.error().description();
}

}  // namespace larkmoor::testing
