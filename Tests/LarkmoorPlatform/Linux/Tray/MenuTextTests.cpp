// The text of rows in a host's menu.
#include <limits>

#include "LarkmoorPlatform/Linux/Tray/MenuText.h"

namespace larkmoor {
namespace {

using namespace std::string_view_literals;

TEST(MenuText, BecomesOneLineOfGoodText) {
    struct Case {
        std::string_view name, in, want;
    };
    const Case table[] = {
        {"plain", "Check for Update…", "Check for Update…"},
        {"line breaks and tabs", "one\r\ntwo\tthree", "one  two three"},
        {"a NUL", "a\0b"sv, "a b"},
        {"delete and C1", "a\x7f\xc2\x85z", "a  z"},
        {"no-break space stays", "a\u00a0b", "a\u00a0b"},
        {"line separator", "a\u2028b\u2029c", "a b c"},
        {"a broken byte", "a\xffz", "a\uFFFDz"},
        {"cut short at the end", "a\xe2\x80", "a\uFFFD\uFFFD"},
        {"markup is text", "<b>&amp;</b>", "<b>&amp;</b>"},
    };
    for (const Case& row : table) EXPECT_EQ(MenuText::cleaned(row.in), row.want) << row.name;
}

TEST(MenuText, HasNoMarkupCharacters) {
    EXPECT_EQ(MenuText::withoutMarkup("Larkmoor — a & b <i>c</i>\n"),
              "Larkmoor — a \uFF06 b \u2039i\u203Ac\u2039/i\u203A ");
}

TEST(MenuText, LabelsOfRows) {
    struct Case {
        std::string_view name;
        MenuRow::Start row;
        RowProgress progress;
        std::string_view want;
    };
    const Case table[] = {
        {"plain", {.title = "Quit"}, {}, "Quit"},
        {"underscores", {.title = "a__b_c"}, {}, "a____b__c"},
        {"ampersand", {.title = "Read & write"}, {}, "Read & write"},
        {"one level", {.title = "• Stop", .indent = 1}, {}, "\u2003• Stop"},
        {"two levels", {.title = "• Stop", .indent = 2}, {}, "\u2003\u2003• Stop"},
        {"a fraction", {.title = "Setting up"}, RowProgresses::Fill{0.4}, "Setting up  ▰▰▰▰▱▱▱▱▱▱ 40%"},
        {"the title says it", {.title = "Loading, 29%"}, RowProgresses::Fill{0.29}, "Loading, 29%  ▰▰▱▱▱▱▱▱▱▱"},
        {"another number", {.title = "Loading 129%"}, RowProgresses::Fill{0.29}, "Loading 129%  ▰▰▱▱▱▱▱▱▱▱ 29%"},
        {"nearly done is not done", {.title = "x"}, RowProgresses::Fill{0.999}, "x  ▰▰▰▰▰▰▰▰▰▱ 99%"},
        {"done", {.title = "x"}, RowProgresses::Fill{1}, "x  ▰▰▰▰▰▰▰▰▰▰ 100%"},
        {"below", {.title = "x"}, RowProgresses::Fill{-3}, "x  ▱▱▱▱▱▱▱▱▱▱ 0%"},
        {"above", {.title = "x"}, RowProgresses::Fill{7}, "x  ▰▰▰▰▰▰▰▰▰▰ 100%"},
        {"no number",
         {.title = "x"},
         RowProgresses::Fill{std::numeric_limits<double>::quiet_NaN()},
         "x  ▱▱▱▱▱▱▱▱▱▱ 0%"},
        {"moving", {.title = "x"}, RowProgresses::Indeterminate{}, "x  ▰▰▰▱▱▱▱▱▱▱"},
        {"no title", {.title = ""}, RowProgresses::Fill{0.1}, "▰▱▱▱▱▱▱▱▱▱ 10%"},
    };
    for (const Case& test : table) {
        const auto row = MenuRow::make(test.row);
        row->setProgress(test.progress);
        EXPECT_EQ(MenuText::label(*row, 0), test.want) << test.name;
    }
}

TEST(MenuText, ALongTitleIsShownWholeInLines) {
    const auto label = [](std::string title) { return MenuText::label(*MenuRow::make({.title = title}), 0); };
    const auto repeated = [](std::string_view text, std::size_t times) {
        std::string all;
        while (times-- > 0) all += text;
        return all;
    };
    const std::string ten = repeated("ü", 10), full = repeated("ü", 120);
    EXPECT_EQ(label(full), full);
    EXPECT_EQ(label(full + "y"), full + "\ny") << "a word that fills the line";
    EXPECT_EQ(label(full + " y"), full + "\ny");
    const std::string line = repeated(ten + " ", 10) + ten;
    EXPECT_EQ(label(line + " " + line + " " + ten), line + "\n" + line + "\n" + ten);
    EXPECT_EQ(label("a" + line), "a" + repeated(ten + " ", 9) + ten + "\n" + ten) << "between words";
    EXPECT_EQ(label(repeated("ü", 4000)).size(), 8033U);
    EXPECT_EQ(label(repeated("ü", 100000)), label(repeated("ü", 4000)).substr(0, 8031) + "…");
}

TEST(MenuText, AMovingBarWalksToTheEndAndBack) {
    const auto cells = [](unsigned phase) { return MenuText::bar(RowProgresses::Indeterminate{}, phase).cells; };
    EXPECT_EQ(cells(1), "▱▰▰▰▱▱▱▱▱▱");
    EXPECT_EQ(cells(7), "▱▱▱▱▱▱▱▰▰▰");
    EXPECT_EQ(cells(8), "▱▱▱▱▱▱▰▰▰▱");
    EXPECT_EQ(cells(14), cells(0));
    for (unsigned phase = 0; phase < 40; ++phase) EXPECT_NE(cells(phase), cells(phase + 1)) << phase;
}

TEST(MenuText, BarsAreToldInWords) {
    const auto row = MenuRow::make({.title = "Setting up"});
    EXPECT_EQ(MenuText::accessibleDescription(*row), "");
    row->setProgress(RowProgresses::Fill{0.4});
    EXPECT_EQ(MenuText::accessibleDescription(*row), "Setting up, 40%");
    row->setTitle("Downloading 2, 40%");
    EXPECT_EQ(MenuText::accessibleDescription(*row), "Downloading 2, 40%");
    row->setProgress(RowProgresses::Indeterminate{});
    EXPECT_EQ(MenuText::accessibleDescription(*row), "Downloading 2, 40%");
}

}  // namespace
}  // namespace larkmoor
