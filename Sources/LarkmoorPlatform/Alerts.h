// Modal alerts: a message with buttons in a window of its own, and the button that the user chose.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

/// All text is shown as plain text, whatever markup it holds.
struct Alert {
    enum class Style { informational, warning, critical };

    Style style = Style::informational;
    std::string message;
    std::string text{};                 ///< below the message; may be empty
    std::vector<std::string> buttons;   ///< at least one: Enter chooses the first and Escape the last
    bool showsApplicationIcon = false;  ///< instead of the style's icon

    bool operator==(const Alert&) const = default;
};

/// Main thread, which keeps running while an alert is shown.
class Alerts {
  public:
    virtual ~Alerts() = default;

    /// The index of the chosen button; nullopt if the alert was closed without a choice or could not be shown. Alerts
    /// are shown one at a time, in the order of the calls.
    virtual Task<std::optional<int>> show(Alert alert) = 0;
};

}  // namespace larkmoor
