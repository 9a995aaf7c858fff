#include "LarkmoorPlatform/Linux/Tray/GlyphPixmaps.h"

#include <span>
#include <string_view>

namespace larkmoor {

namespace {

/// One digit for each pixel: '.' is clear, 'f' is covered.
struct GlyphCoverage {
    int side;
    std::string_view digits;
};

#include "LarkmoorPlatform/Linux/Tray/GlyphCoverage.inc"

constexpr std::byte grey{0x80};

std::span<const GlyphCoverage> coverage(StatusIcon icon) {
    switch (icon) {
        case StatusIcon::trailFilled:
            return trailFilled;
        case StatusIcon::trailHollow:
            return trailHollow;
        case StatusIcon::attention:
            return attention;
    }
    return {};
}

unsigned alpha(char digit) {
    if (digit == '.') return 0;
    return static_cast<unsigned>(digit <= '9' ? digit - '0' : digit - 'a' + 10) * 17;
}

}  // namespace

std::vector<Pixmap> glyphPixmaps(StatusIcon icon) {
    std::vector<Pixmap> pixmaps;
    for (const GlyphCoverage& drawing : coverage(icon)) {
        Pixmap pixmap{.side = drawing.side, .pixels = {}};
        pixmap.pixels.reserve(drawing.digits.size() * 4);
        for (const char digit : drawing.digits) {
            pixmap.pixels.push_back(static_cast<std::byte>(alpha(digit)));
            pixmap.pixels.insert(pixmap.pixels.end(), 3, grey);
        }
        pixmaps.push_back(std::move(pixmap));
    }
    return pixmaps;
}

}  // namespace larkmoor
