// The text of menu rows for hosts.
#pragma once

#include <string>
#include <string_view>

#include "LarkmoorPlatform/Menu.h"

namespace larkmoor::MenuText {

/// One line of valid UTF-8: control characters become spaces, and invalid bytes U+FFFD. Some titles are text of other
/// programs, and the bus rejects a whole message for one invalid byte.
std::string cleaned(std::string_view text);

/// `cleaned`, and without markup characters: some hosts parse titles and tooltips as markup.
std::string withoutMarkup(std::string_view text);

/// A progress bar as text, "▰▰▰▰▱▱▱▱▱▱", and its percentage.
struct Bar {
    std::string cells;
    std::string percent;  ///< "40%"; empty if unknown
    bool operator==(const Bar&) const = default;
};

/// `phase` counts the animation steps of an indeterminate bar.
Bar bar(const RowProgress& progress, unsigned phase);

/// The row's label: indentation, the cleaned title in lines of at most 120 characters with underscores doubled (a
/// single one marks a mnemonic), and the progress bar.
std::string label(const MenuRow& row, unsigned phase);

/// The row's text for screen readers, with the percentage instead of the bar; empty for a row without progress.
std::string accessibleDescription(const MenuRow& row);

}  // namespace larkmoor::MenuText
