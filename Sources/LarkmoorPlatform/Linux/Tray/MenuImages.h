// The pictures of the menu's rows, as PNG files of 32 by 32 pixels for a square of 16 points.
#pragma once

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorPlatform/Menu.h"

namespace larkmoor::MenuImages {

/// Lives as long as the program; empty for none and for a symbol that we have no drawing of. Symbols are of a middle
/// grey, which is what half transparent black on a light menu and white on a dark one come to.
BytesView png(const RowImage& image);

}  // namespace larkmoor::MenuImages
