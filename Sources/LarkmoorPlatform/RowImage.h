// What stands in front of a menu row's title.
#pragma once

#include <string>
#include <variant>

namespace larkmoor {

namespace RowImages {

struct None {
    bool operator==(const None&) const = default;
};

/// A filled dot in the system's red.
struct RecordingDot {
    bool operator==(const RecordingDot&) const = default;
};

/// A ring in the system's red.
struct PausedRing {
    bool operator==(const PausedRing&) const = default;
};

/// The product's own icon, in its colours.
struct PebbleIcon {
    bool operator==(const PebbleIcon&) const = default;
};

/// A system symbol, drawn half transparent in the colour of the menu's text: "chart.bar.xaxis", "gearshape.fill",
/// "arrow.down.circle". A platform that has no drawing under the name shows none.
struct Symbol {
    std::string name;
    bool operator==(const Symbol&) const = default;
};

}  // namespace RowImages

using RowImage = std::variant<RowImages::None, RowImages::RecordingDot, RowImages::PausedRing, RowImages::PebbleIcon,
                              RowImages::Symbol>;

}  // namespace larkmoor
