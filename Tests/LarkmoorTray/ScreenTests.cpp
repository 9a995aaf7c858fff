// The interactive tray: what keys do, and what stands on the screen.
#include "Screen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace larkmoor::tray {
namespace {

using What = ScreenAsks::What;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

ItemView item(const std::string& service, const std::string& id) {
    return {.service = service,
            .path = "/StatusNotifierItem",
            .id = id,
            .icon = "an-icon",
            .status = "Active",
            .title = id,
            .description = id + " is well",
            .toolTip = {},
            .iconThemePath = {},
            .menuPath = "/MenuBar",
            .rows = {{.id = 1, .label = "Recording", .enabled = false},
                     {.id = 2, .separator = true},
                     {.id = 3, .label = "Stop"},
                     {.id = 4, .label = "Migrate now", .visible = false},
                     {.id = 5, .label = "More", .children = {{.id = 6, .label = "Deeper"}}},
                     {.id = 7, .label = "Quit"}}};
}

class ScreenTest : public ::testing::Test {
  protected:
    ScreenTest() { screen.show({item(":1.2", "larkmoor")}); }

    std::vector<ScreenAsks> press(std::string_view bytes) {
        std::vector<ScreenAsks> asks;
        for (const KeyPress key : readKeys(bytes)) asks.push_back(screen.press(key));
        return asks;
    }
    ScreenAsks last(std::string_view bytes) { return press(bytes).back(); }

    Screen screen;
};

TEST_F(ScreenTest, OpensWalksAndClicks) {
    EXPECT_EQ(last("\r"), (ScreenAsks{What::open}));
    EXPECT_EQ(last("\x1b[B"), (ScreenAsks{What::hover, 3}));
    EXPECT_EQ(last("\x1b[B"), (ScreenAsks{What::hover, 6})) << "a row that only leads on is passed over";
    EXPECT_EQ(last("\x1bOA\x1bOA"), (ScreenAsks{What::hover, 7})) << "round the end";
    EXPECT_EQ(last("\n"), (ScreenAsks{What::click, 7}));
    EXPECT_FALSE(screen.isOpen());
}

TEST_F(ScreenTest, DigitsClickTheRowsThatAreOn) {
    EXPECT_EQ(last("1"), (ScreenAsks{What::nothing})) << "the menu is closed";
    EXPECT_EQ(last("\r2"), (ScreenAsks{What::click, 6}));
    EXPECT_EQ(last("\r9"), (ScreenAsks{What::nothing}));
}

TEST_F(ScreenTest, EscapeClosesAndOtherKeysAreNoOrders) {
    EXPECT_EQ(last("\r\x1b"), (ScreenAsks{What::close}));
    EXPECT_EQ(last("\r\r"), (ScreenAsks{What::nothing})) << "no row was chosen";
    for (const ScreenAsks& asks : press("\x1b[3~\x1b[1;5Cxyz")) EXPECT_EQ(asks, (ScreenAsks{What::nothing}));
    EXPECT_EQ(last("q"), (ScreenAsks{What::quit}));
}

TEST_F(ScreenTest, TheSelectionOutlivesAChangeOfTheRows) {
    press("\r\x1b[B");
    ItemView changed = item(":1.2", "larkmoor");
    changed.rows.insert(changed.rows.begin() + 2, RowView{.id = 9, .label = "New"});
    screen.show({changed});
    EXPECT_EQ(last("\r"), (ScreenAsks{What::click, 3}));
}

TEST_F(ScreenTest, AnItemThatGoesTakesItsMenuAlong) {
    press("\r");
    screen.show({item(":1.9", "other")});
    EXPECT_FALSE(screen.isOpen());
    screen.show({});
    EXPECT_EQ(screen.item(), nullptr);
    EXPECT_EQ(last("\r"), (ScreenAsks{What::nothing}));
}

TEST_F(ScreenTest, TabGoesRound) {
    screen.show({item(":1.1", "other"), item(":1.2", "larkmoor")});
    EXPECT_EQ(screen.item()->id, "larkmoor");
    press("\t");
    EXPECT_EQ(screen.item()->id, "other");
    press("\t");
    EXPECT_EQ(screen.item()->id, "larkmoor");
}

TEST_F(ScreenTest, FitsItsTerminal) {
    press("\r");
    const auto lines = screen.lines(40, 12);
    EXPECT_EQ(lines.size(), 12U);
    EXPECT_THAT(lines, Contains(HasSubstr("Recording")));
    EXPECT_THAT(lines, Not(Contains(HasSubstr("Migrate"))));
    EXPECT_THAT(screen.lines(4, 12), Not(Contains(HasSubstr("Recording"))));
    EXPECT_EQ(screen.lines(40, 1).size(), 1U);
}

}  // namespace
}  // namespace larkmoor::tray
