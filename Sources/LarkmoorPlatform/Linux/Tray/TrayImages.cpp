#include "LarkmoorPlatform/Linux/Tray/TrayImages.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <variant>

namespace larkmoor {

namespace {

struct MenuImage {
    std::span<const std::uint8_t> small, large;
    BytesView of(int pixels) const { return std::as_bytes(pixels > 16 ? large : small); }
};

#include "LarkmoorPlatform/Linux/Tray/MenuImages.inc"

MenuImage symbol(std::string_view name) {
    if (name == "chart.bar.xaxis") return chartBarXaxis;
    if (name == "gearshape.fill") return gearshapeFill;
    if (name == "arrow.down.circle") return arrowDownCircle;
    return {};
}

/// One hexadecimal digit of opacity for each pixel, '.' for 0.
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

BytesView menuImagePng(const RowImage& image, int pixels) {
    if (std::holds_alternative<RowImages::RecordingDot>(image)) return recordingDot.of(pixels);
    if (std::holds_alternative<RowImages::PausedRing>(image)) return pausedRing.of(pixels);
    if (std::holds_alternative<RowImages::PebbleIcon>(image)) return pebbleIcon.of(pixels);
    if (const auto* named = std::get_if<RowImages::Symbol>(&image)) return symbol(named->name).of(pixels);
    return {};
}

BytesView transparentPng(int pixels) { return transparent.of(pixels); }

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
