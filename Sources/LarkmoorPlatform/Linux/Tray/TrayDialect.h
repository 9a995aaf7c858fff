// What tray hosts do differently with the same properties. Pure.
#pragma once

#include <string_view>

namespace larkmoor {

struct TrayDialect {
    /// The item names its own folder of icons. Where that shows nothing, hosts take the icon from the theme, or the
    /// pixmap if the icons are not installed there.
    bool ownIcons = true;
    /// The side of the images of menu rows. Hosts scale them to 16 points, so 32 stay sharp on a dense screen.
    int rowImagePixels = 32;
    /// A row that loses its image gets a transparent one, where hosts keep showing an image that is removed. Others
    /// would indent the row.
    bool blankLostImages = false;

    /// `desktop` is a list with colons, as $XDG_CURRENT_DESKTOP has it, and `scale` the session's number of pixels for
    /// a point, as $GDK_SCALE and $QT_SCALE_FACTOR have it; empty for 1.
    static TrayDialect of(std::string_view desktop, std::string_view scale);
};

}  // namespace larkmoor
