// Modal alerts: a message with buttons in a window of its own, and the button that the user chose.
#pragma once

#include <functional>
#include <stop_token>
#include <string>
#include <variant>
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

namespace AlertAnswers {

/// Nobody was asked: neither the window nor what stands in for it could be shown, or was shown to the end; the reason
/// is in the system's log. Or the caller has withdrawn the alert.
struct NotShown {
    bool operator==(const NotShown&) const = default;
};
/// The user closed the alert without a choice, or left it for a day.
struct Dismissed {
    bool operator==(const Dismissed&) const = default;
};
struct Chosen {
    int button = 0;  ///< index into the alert's buttons
    bool operator==(const Chosen&) const = default;
};

}  // namespace AlertAnswers

using AlertAnswer = std::variant<AlertAnswers::NotShown, AlertAnswers::Dismissed, AlertAnswers::Chosen>;

/// How the caller of an alert follows it, and takes it back.
struct AlertWatch {
    /// Called with true once the window is on the screen, and with false while it waits behind another alert or a
    /// desktop notification stands in for it, of which the user may see nothing. May be null.
    std::function<void(bool isInSight)> onSight{};
    /// Takes the alert back; the answer is `NotShown` then.
    std::stop_token withdrawn{};
};

/// Main thread, which keeps running while an alert is shown.
class Alerts {
  public:
    virtual ~Alerts() = default;

    /// Alerts are shown one at a time, in the order of the calls. Does not throw.
    virtual Task<AlertAnswer> show(Alert alert, AlertWatch watch) = 0;
};

}  // namespace larkmoor
