// The progress that a menu row shows beside its title.
#pragma once

#include <variant>

namespace larkmoor {

namespace RowProgresses {

struct None {
    bool operator==(const None&) const = default;
};

/// Something goes on, and nobody knows how much is left. Moves while the menu is open.
struct Indeterminate {
    bool operator==(const Indeterminate&) const = default;
};

struct Fraction {
    double value = 0;  ///< 0 to 1; what lies outside is shown as the nearer end
    bool operator==(const Fraction&) const = default;
};

}  // namespace RowProgresses

using RowProgress = std::variant<RowProgresses::None, RowProgresses::Indeterminate, RowProgresses::Fraction>;

}  // namespace larkmoor
