// The platform's log: lines for whoever looks after this machine.
#pragma once

#include <string_view>

namespace larkmoor {

/// Writes one line, without a newline at its end. Any thread. A line that cannot be written is lost, and the caller
/// never hears of it.
void platformLog(std::string_view line) noexcept;

}  // namespace larkmoor
