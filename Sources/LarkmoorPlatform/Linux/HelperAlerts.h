// Alerts through the helper program larkmoor-alert, so that no window toolkit lives in the resident process.
#pragma once

#include <deque>
#include <functional>
#include <string>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorPlatform/Alerts.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// Why an alert could not be shown stands in the platform's log. One that nobody answers is gone after a day.
class HelperAlerts final : public Alerts {
  public:
    struct Options {
        std::string helper;  ///< the path of larkmoor-alert
        std::string build;   ///< ours; a helper of another build shows nothing
        /// What lets the window come to the front, as the desktop gave it for the click under way; empty for none. May
        /// be missing.
        std::function<std::string()> activationToken{};
    };

    /// `runner` outlives it.
    HelperAlerts(ProcessRunner& runner, Options options);

    Task<std::optional<int>> show(Alert alert) override;

  private:
    ProcessRunner& runner_;
    const Options options_;
    bool isShowing_ = false;
    std::deque<OneShotEvent*> waiting_;  ///< the turns of the alerts to come
};

}  // namespace larkmoor
