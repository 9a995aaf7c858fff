// Shows alerts and brings back what was chosen.
#pragma once

#include <optional>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Alert.h"

namespace larkmoor {

/// Main thread, which goes on while an alert is there.
class Alerts {
  public:
    virtual ~Alerts() = default;

    /// The place of the chosen button in the alert's list; nothing if the alert was closed without a choice, or could
    /// not be shown. One alert stands at a time: another waits for the end of the one before.
    virtual Task<std::optional<int>> show(Alert alert) = 0;
};

}  // namespace larkmoor
