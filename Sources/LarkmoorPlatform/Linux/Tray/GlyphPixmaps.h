// The status glyphs as pixels, for hosts that cannot find an icon by its name.
#pragma once

#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorPlatform/StatusItem.h"

namespace larkmoor {

/// A square of pixels, each four bytes: alpha, red, green, blue, the colours not multiplied by the alpha.
struct Pixmap {
    int side = 0;
    Bytes pixels;
};

/// The glyph at the sizes of common panels. Pixels cannot follow the panel's colours: a grey that is seen on light
/// and dark ones alike.
std::vector<Pixmap> glyphPixmaps(StatusIcon icon);

}  // namespace larkmoor
