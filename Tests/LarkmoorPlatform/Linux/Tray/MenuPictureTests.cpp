// What hosts are told of a menu, and what they hear when it changes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LarkmoorPlatform/Linux/Tray/MenuPicture.h"

namespace larkmoor {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// '.' is a row, '-' a separator; the same in capitals, ':' and '=', are hidden.
Menu::Rows rowsOf(std::string_view plan) {
    Menu::Rows rows;
    for (const char letter : plan) {
        rows.push_back(letter == '-' || letter == '=' ? MenuRow::separator() : MenuRow::make({.title = "row"}));
        rows.back()->setHidden(letter == ':' || letter == '=');
    }
    return rows;
}

TEST(MenuPicture, SeparatorsStandBetweenRowsThatAreSeen) {
    struct Case {
        std::string_view name, rows, seen;
    };
    const Case table[] = {
        {"as they are", ".-.-.", "xxxxx"},
        {"first", "-.", " x"},
        {"last", ".-", "x "},
        {"doubled", ".--.", "xx x"},
        {"a hidden row between", ".-:-.", "xx  x"},
        {"all below hidden", ".-:-:", "x    "},
        {"all above hidden", ":-:-.", "    x"},
        {"a hidden separator", ".=.", "x x"},
        {"hidden, then one that is not", ".=-.", "x xx"},
        {"nothing to see", ":-:", "   "},
        {"empty", "", ""},
    };
    for (const Case& test : table) {
        std::string seen;
        for (const bool visible : visibleRows(rowsOf(test.rows))) seen += visible ? 'x' : ' ';
        EXPECT_EQ(seen, test.seen) << test.name;
    }
}

class MenuPictureTest : public ::testing::Test {
  protected:
    MenuPicture picture() const { return MenuPicture::of(menu, 5, 0); }

    /// "5: label visible" for what is set and "5: -icon-data" for what is gone.
    std::vector<std::string> heard() {
        MenuPicture now = picture();
        std::vector<std::string> lines;
        for (const MenuChange& change : menuChanges(told, now)) {
            std::string line = std::to_string(change.id) + ":";
            for (const MenuProperty& property : change.set) line += " " + std::string{property.name};
            for (const std::string_view name : change.removed) line += " -" + std::string{name};
            lines.push_back(line);
        }
        told = std::move(now);
        return lines;
    }

    std::shared_ptr<MenuRow> first = MenuRow::make({.title = "Recording", .image = RowImages::RecordingDot{}});
    std::shared_ptr<MenuRow> last = MenuRow::make({.title = "Quit", .action = [] {}});
    Menu menu{{first, MenuRow::separator(), last}};
    MenuPicture told = picture();
};

TEST_F(MenuPictureTest, SaysEvenDefaultsThatAHostMayHaveForgotten) {
    const auto says = [](const MenuProperties& properties) {
        std::string names;
        for (const MenuProperty& property : properties) names += std::string{property.name} + " ";
        return names;
    };
    EXPECT_EQ(says(picture().propertiesOf(5)), "label enabled visible icon-data ");
    EXPECT_EQ(says(picture().propertiesOf(6)), "type visible ");
    EXPECT_EQ(says(picture().propertiesOf(7)), "label enabled visible ");
    EXPECT_EQ(says(picture().propertiesOf(MenuPicture::rootId)), "children-display ");
}

TEST_F(MenuPictureTest, TellsWhatChangedAndNoMore) {
    EXPECT_THAT(heard(), IsEmpty());
    first->setTitle("Paused");
    EXPECT_THAT(heard(), ElementsAre("5: label"));
    first->setImage(RowImages::PausedRing{});
    EXPECT_THAT(heard(), ElementsAre("5: icon-data"));
    first->setImage(RowImages::Symbol{"no.such.drawing"});
    EXPECT_THAT(heard(), ElementsAre("5: -icon-data"));
    first->setProgress(RowProgresses::Fraction{0.5});
    EXPECT_THAT(heard(), ElementsAre("5: label accessible-desc"));
    last->setAction({});
    EXPECT_THAT(heard(), ElementsAre("7: enabled"));
}

TEST_F(MenuPictureTest, MovesOnlyForAVisibleBarWithoutANumber) {
    EXPECT_FALSE(isMoving(menu));
    first->setProgress(RowProgresses::Fraction{0.5});
    EXPECT_FALSE(isMoving(menu));
    first->setProgress(RowProgresses::Indeterminate{});
    EXPECT_TRUE(isMoving(menu));
    first->setHidden(true);
    EXPECT_FALSE(isMoving(menu));
}

}  // namespace
}  // namespace larkmoor
