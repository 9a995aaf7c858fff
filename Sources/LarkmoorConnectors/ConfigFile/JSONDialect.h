// Which grammar a configuration file keeps to.
#pragma once

namespace larkmoor {

enum class JSONDialect {
    strict,       ///< JSON and nothing else
    withComments  ///< the same, with // and /* */ comments wherever blanks may stand; no trailing comma either
};

}  // namespace larkmoor
