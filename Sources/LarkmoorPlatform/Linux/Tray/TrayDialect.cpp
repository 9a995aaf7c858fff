#include "LarkmoorPlatform/Linux/Tray/TrayDialect.h"

#include <charconv>
#include <ranges>

namespace larkmoor {

TrayDialect TrayDialect::of(std::string_view desktop, std::string_view scale) {
    int pixelsForAPoint = 1;
    std::from_chars(scale.data(), scale.data() + scale.size(), pixelsForAPoint);
    TrayDialect dialect;
    for (const auto part : desktop | std::views::split(':')) {
        const std::string_view name{part.begin(), part.end()};
        // Shows nothing for a symbolic icon from an item's own folder.
        if (name == "X-Cinnamon") dialect.ownIcons = false;
        // Draws a row's image in its own pixels.
        if (name == "MATE" && pixelsForAPoint < 2) dialect.rowImagePixels = 16;
        if (name == "GNOME") dialect.blankLostImages = true;
    }
    return dialect;
}

}  // namespace larkmoor
