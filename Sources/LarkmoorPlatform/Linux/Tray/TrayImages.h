// The built-in images of the tray: PNGs for menu rows, and pixmaps of the status glyphs.
#pragma once

#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorPlatform/Menu.h"
#include "LarkmoorPlatform/StatusItem.h"

namespace larkmoor {

/// A PNG with static storage, drawn for 16 points: 16 by 16 pixels, or 32 by 32 where `pixels` is more than 16. Empty
/// for no image and for an unknown symbol. Symbols are middle grey, which is visible on light and dark menus.
BytesView menuImagePng(const RowImage& image, int pixels);

/// One that shows nothing.
BytesView transparentPng(int pixels);

/// A square image in the format of IconPixmap: four bytes a pixel, alpha, red, green, blue, not premultiplied.
struct Pixmap {
    int side = 0;
    Bytes pixels;
};

/// A status glyph in the sizes of common panels, for hosts that cannot find an icon by its name. Pixmaps cannot follow
/// the panel's colours, so they are middle grey.
std::vector<Pixmap> glyphPixmaps(StatusIcon icon);

}  // namespace larkmoor
