// Alerts shown by the helper program larkmoor-alert, which keeps the window toolkit out of the resident process.
#pragma once

#include <deque>
#include <functional>
#include <string>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorPlatform/Alerts.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// Failures to show an alert are written to the system's log. An alert that nobody answers closes after a day.
class HelperAlerts final : public Alerts {
  public:
    struct Options {
        std::string helper;  ///< path of larkmoor-alert
        std::string build;   ///< ours; a helper of another build shows nothing
        /// Returns the activation token of the current click, which lets the window come to the front; empty for none.
        /// May be null.
        std::function<std::string()> activationToken{};
    };

    /// `runner` outlives it.
    HelperAlerts(ProcessRunner& runner, Options options);

    Task<AlertAnswer> show(Alert alert) override;

  private:
    ProcessRunner& runner_;
    const Options options_;
    bool isShowing_ = false;
    std::deque<OneShotEvent*> waiting_;  ///< one for each queued alert, set at its turn
};

}  // namespace larkmoor
