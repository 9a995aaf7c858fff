// The content of a row for work under way: the models' download, the update. A separate header, because the update code
// creates these lines and the menu shows them.
#pragma once

#include <string>

#include "LarkmoorPlatform/Menu.h"

namespace larkmoor {

struct MenuLine {
    /// The row's own progress, shown unchanged.
    using Bar = RowProgress;
    /// What a click on the row does: the update goes in, or the version that is installed starts.
    enum class Click { none, installNow };

    std::string title;
    Bar bar = RowProgresses::None{};
    Click click = Click::none;

    bool operator==(const MenuLine&) const = default;
};

}  // namespace larkmoor
