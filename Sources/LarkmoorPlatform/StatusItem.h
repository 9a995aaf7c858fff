// The product's place in the system's bar: an icon with an accessible name, and a menu.
#pragma once

#include <memory>
#include <string>

#include "LarkmoorPlatform/Menu.h"

namespace larkmoor {

enum class StatusIcon {
    trailFilled,  ///< the pebble trail, filled: the front window is remembered whole
    trailHollow,
    attention,  ///< an exclamation mark in a circle
};

/// Made on the main thread, which alone may call it. The item is shown from construction to destruction. If the bar is
/// missing, starts later or restarts, that is not an error, and the item appears by itself as soon as it can.
class StatusItem {
  public:
    virtual ~StatusItem() = default;

    /// `label` describes the icon: for screen readers, and as title and tooltip. Setting the same icon and label again
    /// does nothing.
    virtual void setIcon(StatusIcon icon, std::string label) = 0;

    /// Shows this menu instead of the previous one, and observes it; null removes the menu.
    virtual void setMenu(std::shared_ptr<Menu> menu) = 0;
};

}  // namespace larkmoor
