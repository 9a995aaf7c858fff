// The system's log.
#pragma once

#include <string_view>

namespace larkmoor {

/// Writes one line, given without its newline. Any thread. Errors are ignored.
void platformLog(std::string_view line) noexcept;

}  // namespace larkmoor
