// Whether a refusal by the daemon has lasted long enough to be written down.
#pragma once

#include <chrono>
#include <optional>

#include "LarkmoorKit/Door/DoorFault.h"

namespace larkmoor::RefusalNotice {

/// A daemon that starts up may refuse for a moment; what lasts less than this is not reported.
inline constexpr std::chrono::seconds settleWindow{45};

enum class Action { wait, report };

Action decide(std::optional<DoorFault> fault, std::optional<std::chrono::duration<double>> refusedFor,
              bool alreadyReported);

}  // namespace larkmoor::RefusalNotice
