// How a row's words reach a host that knows nothing but one line of text for each row.
#pragma once

#include <string>
#include <string_view>

#include "LarkmoorPlatform/Menu.h"

namespace larkmoor::MenuText {

/// One line of well-formed UTF-8: line breaks, tabs and other control characters become blanks, broken bytes U+FFFD.
/// The bus refuses a whole message for one bad byte, and some titles are another program's words.
std::string cleaned(std::string_view text);

/// `cleaned`, with nothing that a host could take for markup: titles and tooltips are parsed by some.
std::string withoutMarkup(std::string_view text);

/// "▰▰▰▰▱▱▱▱▱▱" and the percent to say beside it.
struct Bar {
    std::string cells;
    std::string percent;  ///< "40%"; empty when nobody knows
    bool operator==(const Bar&) const = default;
};

/// `phase` counts the steps of the moving picture that stands for an unknown amount.
Bar bar(const RowProgress& progress, unsigned phase);

/// The row's label: indented, cleaned, at most 240 characters of the title, underscores doubled since a single one
/// marks a mnemonic, the bar behind it.
std::string label(const MenuRow& row, unsigned phase);

/// The row in words, for who does not see the bar; empty where the label says it all.
std::string accessibleDescription(const MenuRow& row);

}  // namespace larkmoor::MenuText
