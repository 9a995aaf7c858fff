// Alerts shown by the helper program larkmoor-alert, which keeps the window toolkit out of the resident process.
#pragma once

#include <chrono>
#include <deque>
#include <expected>
#include <functional>
#include <string>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorPlatform/Alerts.h"
#include "LarkmoorPlatform/Linux/Processes/OpenedProgram.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// Failures to show an alert are written to the system's log. An alert that nobody answers closes after a day.
class HelperAlerts final : public Alerts {
  public:
    /// A helper whose window is not on the screen after this is ended: it hangs, or the display does.
    static constexpr std::chrono::seconds patience{5};

    struct Options {
        std::string helper;  ///< path of larkmoor-alert; opened by the constructor
        std::string build;   ///< ours; a helper of another build shows nothing
        /// Returns the activation token of the current click, which lets the window come to the front; empty for none.
        /// May be null.
        std::function<std::string()> activationToken{};
        /// Asked when the helper cannot show an alert; may be null, and outlives this.
        Alerts* fallback = nullptr;
        std::chrono::milliseconds limit = patience;
    };

    /// `runner` outlives it.
    HelperAlerts(ProcessRunner& runner, Options options);

    Task<AlertAnswer> show(Alert alert, AlertWatch watch) override;

  private:
    struct Window;

    Task<AlertAnswer> showNow(const Alert& alert, const AlertWatch& watch, const std::string& token);
    Task<std::expected<AlertAnswer, std::string>> showWindow(const Alert& alert, const AlertWatch& watch,
                                                             const std::string& token);
    void endTurn();

    ProcessRunner& runner_;
    const Options options_;
    const OpenedProgram helper_;
    bool isShowing_ = false;
    std::deque<OneShotEvent*> waiting_;  ///< one for each queued alert, set at its turn
};

}  // namespace larkmoor
