#include "LarkmoorPlatform/Linux/Tray/MenuText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <variant>

#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/UTF8.h"

namespace larkmoor::MenuText {

namespace {

constexpr int cellCount = 10;
constexpr std::string_view filledCell = "▰";
constexpr std::string_view emptyCell = "▱";
constexpr std::string_view emSpace = "\u2003";

std::string cells(int first, int count) {
    std::string text;
    for (int cell = 0; cell < cellCount; ++cell) text += cell >= first && cell < first + count ? filledCell : emptyCell;
    return text;
}

/// Three filled cells that move to the end and back.
Bar indeterminateBar(unsigned phase) {
    constexpr int run = 3;
    constexpr int distance = cellCount - run;
    const int step = static_cast<int>(phase % (2 * distance));
    return {.cells = cells(step <= distance ? step : 2 * distance - step, run), .percent = {}};
}

Bar filledBar(double fraction) {
    // Rounded down, so that only a complete bar shows 100%; the margin absorbs rounding errors of whole percentages.
    const double whole = std::floor(std::clamp(std::isnan(fraction) ? 0 : fraction, 0.0, 1.0) * 100 + 1e-9);
    const int percent = static_cast<int>(whole);
    return {.cells = cells(0, percent * cellCount / 100), .percent = fmt::format("{}%", percent)};
}

/// Hosts make the menu as wide as its longest line, and cut what the screen cannot hold. Some titles are text of other
/// programs: what is too long for any sentence ends in "…".
std::string wrapped(std::string_view line) {
    constexpr std::size_t lineLength = 120;
    constexpr std::size_t maxCharacters = 4000;
    constexpr std::size_t none = std::string::npos;
    std::string text;
    std::size_t column = 0, blank = none, columnOfBlank = 0;
    for (std::size_t count = 1; !line.empty(); ++count) {
        const std::string_view character = line.substr(0, UTF8::characterLength(line));
        line.remove_prefix(character.size());
        if (count == maxCharacters && !line.empty()) return text + "…";
        if (column == lineLength && character != " ") {
            // At the last blank of the line, and inside a word that fills it.
            if (blank != none) text[blank] = '\n';
            if (blank == none) text += '\n';
            column = blank == none ? 0 : column - columnOfBlank - 1;
            blank = none;
        }
        if (character == " ") {
            if (column == lineLength) {
                text += '\n';
                column = 0;
                blank = none;
                continue;
            }
            blank = text.size();
            columnOfBlank = column;
        }
        text += character;
        ++column;
    }
    return text;
}

std::string joined(std::string_view title, std::string_view gap, const Bar& bar) {
    std::string text{title};
    if (!text.empty() && !bar.cells.empty()) text += gap;
    text += bar.cells;
    // Some titles already end with the percentage.
    if (!bar.percent.empty() && !title.ends_with(" " + bar.percent)) {
        if (!text.empty()) text += bar.cells.empty() ? gap : " ";
        text += bar.percent;
    }
    return text;
}

}  // namespace

std::string cleaned(std::string_view text) { return printable(text, " "); }

std::string withoutMarkup(std::string_view text) {
    std::string plain;
    for (const char character : cleaned(text)) {
        switch (character) {
            case '<':
                plain += "\u2039";
                break;
            case '>':
                plain += "\u203A";
                break;
            case '&':
                plain += "\uFF06";
                break;
            default:
                plain += character;
        }
    }
    return plain;
}

Bar bar(const RowProgress& progress, unsigned phase) {
    if (const auto* known = std::get_if<RowProgresses::Fill>(&progress)) return filledBar(known->value);
    if (std::holds_alternative<RowProgresses::Indeterminate>(progress)) return indeterminateBar(phase);
    return {};
}

std::string label(const MenuRow& row, unsigned phase) {
    std::string text;
    for (int level = 0; level < row.indent(); ++level) text += emSpace;
    std::string title;
    for (const char character : wrapped(cleaned(row.title()))) title.append(character == '_' ? 2 : 1, character);
    return text + joined(title, "  ", bar(row.progress(), phase));
}

std::string accessibleDescription(const MenuRow& row) {
    if (std::holds_alternative<RowProgresses::None>(row.progress())) return {};
    return joined(cleaned(row.title()), ", ", {.cells = {}, .percent = bar(row.progress(), 0).percent});
}

}  // namespace larkmoor::MenuText
