#include "LarkmoorPlatform/Linux/Tray/MenuImages.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <variant>

namespace larkmoor::MenuImages {

namespace {

#include "LarkmoorPlatform/Linux/Tray/MenuImages.inc"

BytesView symbol(std::string_view name) {
    if (name == "chart.bar.xaxis") return std::as_bytes(std::span{chartBarXaxis});
    if (name == "gearshape.fill") return std::as_bytes(std::span{gearshapeFill});
    if (name == "arrow.down.circle") return std::as_bytes(std::span{arrowDownCircle});
    return {};
}

}  // namespace

BytesView png(const RowImage& image) {
    if (std::holds_alternative<RowImages::RecordingDot>(image)) return std::as_bytes(std::span{recordingDot});
    if (std::holds_alternative<RowImages::PausedRing>(image)) return std::as_bytes(std::span{pausedRing});
    if (std::holds_alternative<RowImages::PebbleIcon>(image)) return std::as_bytes(std::span{pebbleIcon});
    if (const auto* named = std::get_if<RowImages::Symbol>(&image)) return symbol(named->name);
    return {};
}

}  // namespace larkmoor::MenuImages
