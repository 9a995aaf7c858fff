// Whether the menu shows only the rows of the setup.
#pragma once

#include <optional>

namespace larkmoor::MenuMode {

/// The tag of the rows that stay in setup mode.
inline constexpr int staysInSetup = 1;

/// The journey on the screen decides; otherwise what was last known of it being owed.
constexpr bool wantsSetup(bool journeyVisible, std::optional<bool> lastWarranted) {
    return journeyVisible || lastWarranted.value_or(false);
}

/// A machine in the middle of its first setup has nothing to be alarmed about.
constexpr bool showsAlert(bool journeyVisible, std::optional<bool> lastWarranted) {
    return !wantsSetup(journeyVisible, lastWarranted);
}

}  // namespace larkmoor::MenuMode
