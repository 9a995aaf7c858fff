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

/// Made on the main thread, which alone may call it. The item is in the bar from its making to its end; a bar that is
/// absent, late or restarted is no error and needs no word from the owner.
class StatusItem {
  public:
    virtual ~StatusItem() = default;

    /// `label` tells the icon's meaning to who does not see it. The same icon and label again change nothing.
    virtual void setIcon(StatusIcon icon, std::string label) = 0;

    /// Shares the menu and becomes its observer, in the place of the menu before; null takes the menu away.
    virtual void setMenu(std::shared_ptr<Menu> menu) = 0;
};

}  // namespace larkmoor
