#include "LarkmoorPlatform/Linux/Tray/TrayDialect.h"

#include <ranges>

namespace larkmoor {

TrayDialect TrayDialect::of(std::string_view desktop) {
    TrayDialect dialect;
    for (const auto part : desktop | std::views::split(':')) {
        const std::string_view name{part.begin(), part.end()};
        // Shows nothing for a symbolic icon from an item's own folder.
        if (name == "X-Cinnamon") dialect.ownIcons = false;
        // Draws each pixel of a row's image as one point of the screen.
        if (name == "MATE") dialect.rowImagePixels = 16;
        if (name == "GNOME") dialect.blankLostImages = true;
    }
    return dialect;
}

}  // namespace larkmoor
