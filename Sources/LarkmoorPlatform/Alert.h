// A question or a word to the person, in a window of its own.
#pragma once

#include <string>
#include <vector>

namespace larkmoor {

/// All text is shown as it stands, whatever marks it holds.
struct Alert {
    enum class Style { informational, warning, critical };

    Style style = Style::informational;
    std::string message;
    std::string text{};                 ///< below the message; may be empty
    std::vector<std::string> buttons;   ///< one or more: Enter chooses the first and Escape the last
    bool showsApplicationIcon = false;  ///< in the place of the style's own

    bool operator==(const Alert&) const = default;
};

}  // namespace larkmoor
