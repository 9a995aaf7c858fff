// The properties of a menu's rows, and the changes that hosts receive.
#include "LarkmoorPlatform/Linux/Tray/MenuSnapshot.h"

namespace larkmoor {
namespace {

/// '.' is a row, '-' a separator; the same in capitals, ':' and '=', are hidden.
Menu::Rows rowsOf(std::string_view plan) {
    Menu::Rows rows;
    for (const char letter : plan) {
        rows.push_back(letter == '-' || letter == '=' ? MenuRow::separator() : MenuRow::make({.title = "row"}));
        rows.back()->setHidden(letter == ':' || letter == '=');
    }
    return rows;
}

TEST(MenuSnapshot, SeparatorsStandBetweenRowsThatAreSeen) {
    struct Case {
        std::string_view name, rows, seen;
    };
    const Case table[] = {
        {"first", "-.", " x"},
        {"last", ".-", "x "},
        {"doubled", ".--.", "xx x"},
        {"a hidden row between", ".-:-.", "xx  x"},
        {"all below hidden", ".-:-:", "x    "},
        {"all above hidden", ":-:-.", "    x"},
        {"a hidden separator", ".=.", "x x"},
        {"hidden, then one that is not", ".=-.", "x xx"},
        {"empty", "", ""},
    };
    for (const Case& test : table) {
        std::string seen;
        for (const bool visible : visibleRows(rowsOf(test.rows))) seen += visible ? 'x' : ' ';
        EXPECT_EQ(seen, test.seen) << test.name;
    }
}

class MenuSnapshotTest : public ::testing::Test {
  protected:
    MenuSnapshot snapshot() const { return MenuSnapshot::of(menu, 5, {}); }

    /// "5: label visible" for what is set and "5: -icon-data" for what is gone.
    std::vector<std::string> heard() {
        MenuSnapshot now = snapshot();
        now.blankLostImages(told, 32);
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
    MenuSnapshot told = snapshot();
};

TEST_F(MenuSnapshotTest, HasEvenDefaultsThatAHostMayHaveCached) {
    const auto names = [](const MenuProperties& properties) {
        std::string text;
        for (const MenuProperty& property : properties) text += std::string{property.name} + " ";
        return text;
    };
    EXPECT_EQ(names(snapshot().propertiesOf(5)), "label enabled visible icon-data ");
    EXPECT_EQ(names(snapshot().propertiesOf(6)), "type visible ");
    EXPECT_EQ(names(snapshot().propertiesOf(7)), "label enabled visible ");
    EXPECT_EQ(names(snapshot().propertiesOf(MenuSnapshot::rootId)), "children-display ");
}

TEST_F(MenuSnapshotTest, EachChangeAndItsWayBackAreReported) {
    struct Case {
        std::string_view name;
        std::function<void()> change, back;
        std::string_view changed, restored;
    };
    const RowImage dot = RowImages::RecordingDot{};
    const Case table[] = {
        {"title", [&] { first->setTitle("Paused"); }, [&] { first->setTitle("Recording"); }, "5: label", "5: label"},
        {"image", [&] { first->setImage(RowImages::PausedRing{}); }, [&] { first->setImage(dot); }, "5: icon-data",
         "5: icon-data"},
        {"no image", [&] { first->setImage(RowImages::Symbol{"no.such.drawing"}); }, [&] { first->setImage(dot); },
         "5: icon-data", "5: icon-data"},
        {"progress", [&] { first->setProgress(RowProgresses::Fill{0.5}); },
         [&] { first->setProgress(RowProgresses::None{}); }, "5: label accessible-desc", "5: label -accessible-desc"},
        {"no action", [&] { last->setAction({}); }, [&] { last->setAction([] {}); }, "7: enabled", "7: enabled"},
        {"hidden, with its separator", [&] { first->setHidden(true); }, [&] { first->setHidden(false); },
         "5: visible 6: visible", "5: visible 6: visible"},
    };
    const auto reported = [&] { return fmt::format("{}", fmt::join(heard(), " ")); };
    for (const Case& test : table) {
        EXPECT_EQ(reported(), "") << test.name;
        test.change();
        EXPECT_EQ(reported(), test.changed) << test.name;
        EXPECT_EQ(reported(), "") << test.name;
        test.back();
        EXPECT_EQ(reported(), test.restored) << test.name;
    }
}

TEST_F(MenuSnapshotTest, OnlyAVisibleIndeterminateBarIsAnimated) {
    EXPECT_FALSE(isAnimated(menu));
    first->setProgress(RowProgresses::Fill{0.5});
    EXPECT_FALSE(isAnimated(menu));
    first->setProgress(RowProgresses::Indeterminate{});
    EXPECT_TRUE(isAnimated(menu));
    first->setHidden(true);
    EXPECT_FALSE(isAnimated(menu));
    first->setHidden(false);
    first->setProgress(RowProgresses::Fill{1});
    EXPECT_FALSE(isAnimated(menu));
}

}  // namespace
}  // namespace larkmoor
