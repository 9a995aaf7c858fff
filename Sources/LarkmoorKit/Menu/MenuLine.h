// What one row of the menu says of something under way: the models' download, the update. A header of its own, since
// the room that decides about updates makes such lines and the menu draws them.
#pragma once

#include <string>

#include "LarkmoorPlatform/Menu.h"

namespace larkmoor {

struct MenuLine {
    /// The row's own progress: it is drawn as it stands.
    using Bar = RowProgress;
    /// What a click on the row does.
    enum class Click { none, installNow };

    std::string title;
    Bar bar = RowProgresses::None{};
    Click click = Click::none;

    bool operator==(const MenuLine&) const = default;
};

}  // namespace larkmoor
