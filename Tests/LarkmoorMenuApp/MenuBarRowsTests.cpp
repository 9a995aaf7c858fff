// Rows that progress: they come and go with the menu closed, and never under the mouse.
#include "LarkmoorMenuApp/MenuBarFixture.h"

namespace larkmoor::testing {
namespace {

using Line = MenuDuties::Line;
using Fraction = RowProgresses::Fraction;
using Indeterminate = RowProgresses::Indeterminate;
using None = RowProgresses::None;

class MenuBarRowsTest : public MenuBarTest {
  protected:
    MenuBarRowsTest() {
        duties.modelsLine = [this] { return models; };
        duties.allDownloadsDone = [this] { return allDone; };
        duties.updateLine = [this] { return update; };
        duties.postponedSentence = [this] { return postponed; };
        duties.migrationOwed = [this] { return owed; };
        duties.isMigrating = [this] { return migrating; };
        launch();
    }

    /// Title, hidden, action, progress.
    struct Look {
        std::string title;
        bool hidden;
        bool hasAction;
        RowProgress progress;
        bool operator==(const Look&) const = default;
    };
    static Look look(const MenuRow& row) { return {row.title(), row.hidden(), row.hasAction(), row.progress()}; }
    void beat() {
        EXPECT_TRUE(timers.fire(MenuBar::tickerInterval));
        settle();
    }

    std::optional<Line> models, update;
    std::optional<std::string> postponed;
    bool allDone = false, owed = false, migrating = false;
};

TEST_F(MenuBarRowsTest, ModelsAreShownWhileTheyCome) {
    const MenuRow& row = *menu->rows().modelsLine;
    models = Line{.title = "Fetching models", .fraction = 0.25};
    tick();
    EXPECT_TRUE(row.hidden()) << "the pipeline's events draw nothing by themselves";
    open();
    EXPECT_EQ(look(row), (Look{"Fetching models", false, false, Fraction{0.25}}));
    models = Line{.title = "Verifying"};
    beat();
    EXPECT_EQ(look(row), (Look{"Verifying", false, false, Indeterminate{}}));
    models.reset();
    beat();
    EXPECT_EQ(look(row), (Look{"Verifying", false, false, Indeterminate{}})) << "stays under the mouse";
    allDone = true;
    beat();
    EXPECT_EQ(look(row), (Look{"Verifying", false, false, Fraction{1}}));
    close();
    EXPECT_TRUE(row.hidden());
    EXPECT_EQ(row.progress(), RowProgress{None{}});
    EXPECT_FALSE(timers.fire(MenuBar::tickerInterval)) << "no ticker while it is closed";
}

TEST_F(MenuBarRowsTest, NothingAppearsUnderTheMouse) {
    open();
    models = Line{.title = "Fetching models", .fraction = 0.5};
    update = Line{.title = "Update ready"};
    allDone = true;
    beat();
    EXPECT_TRUE(menu->rows().modelsLine->hidden());
    EXPECT_TRUE(menu->rows().updateRow->hidden());
    close();
    EXPECT_FALSE(menu->rows().modelsLine->hidden());
    EXPECT_FALSE(menu->rows().updateRow->hidden());
}

TEST_F(MenuBarRowsTest, SetupKeepsTheModelsAndHidesTheUpdate) {
    models = Line{.title = "Fetching models"};
    update = Line{.title = "Update ready"};
    tellJourney("1");
    EXPECT_FALSE(menu->rows().modelsLine->hidden()) << "the change of mode is a sync";
    open();
    EXPECT_FALSE(menu->rows().modelsLine->hidden());
    EXPECT_TRUE(menu->rows().updateRow->hidden());
    close();
    tellJourney("0");
    open();
    EXPECT_FALSE(menu->rows().updateRow->hidden());
}

TEST_F(MenuBarRowsTest, TheUpdateRowIsALineOrABar) {
    const MenuRow& row = *menu->rows().updateRow;
    struct Case {
        Line line;
        Look look;
    };
    const Case table[] = {
        {{.title = "Up to date"}, {"Up to date", false, false, None{}}},
        {{.title = "Install 3", .actionable = true}, {"Install 3", false, true, None{}}},
        {{.title = "Loading", .fraction = 0.5, .actionable = true}, {"Loading", false, false, Fraction{0.5}}},
        {{.title = "Checking", .indeterminate = true}, {"Checking", false, false, Indeterminate{}}},
    };
    for (const Case& row1 : table) {
        for (const Case& row2 : table) {
            update = row1.line;
            open();
            EXPECT_EQ(look(row), row1.look);
            update = row2.line;
            beat();
            EXPECT_EQ(look(row), row2.look) << "in place";
            update.reset();
            beat();
            EXPECT_EQ(look(row), row2.look) << "stays under the mouse";
            close();
            EXPECT_TRUE(row.hidden());
            EXPECT_FALSE(row.hasAction());
            EXPECT_EQ(row.progress(), RowProgress{None{}});
        }
    }
}

TEST_F(MenuBarRowsTest, OwedRowsAreSetWhenTheMenuOpens) {
    const MenuRow& row = *menu->rows().postponedRow;
    postponed = "Update 3 waits for your call to end.";
    owed = true;
    EXPECT_TRUE(row.hidden());
    open();
    EXPECT_EQ(look(row), (Look{*postponed, false, false, None{}}));
    EXPECT_FALSE(menu->rows().migrateNowRow->hidden());
    close();
    postponed.reset();
    owed = false;
    open();
    EXPECT_TRUE(row.hidden());
    EXPECT_TRUE(menu->rows().migrateNowRow->hidden());
    close();
    // Out of setup mode nothing comes up that is not owed.
    tellJourney("1");
    tellJourney("0");
    EXPECT_TRUE(row.hidden());
    EXPECT_TRUE(menu->rows().migrateNowRow->hidden());
}

TEST_F(MenuBarRowsTest, OnlyAMigrationUnderWayDisablesItsRow) {
    for (const bool is : {true, false}) {
        migrating = is;
        for (const auto& row : menu->rows().inOrder)
            EXPECT_EQ(menu->validateMenuItem(*row), !is || row != menu->rows().migrateNowRow) << row->title();
    }
}

TEST_F(MenuBarRowsTest, OpeningAsksTheDaemonAndLetsItBack) {
    duties.releaseQuitIfHeld = noting("release quit");
    launch();
    asked.clear();
    open();
    EXPECT_THAT(asked, ::testing::ElementsAre("health", "front state"));
    EXPECT_THAT(done, ::testing::ElementsAre("release quit"));
    close();
    EXPECT_EQ(asked.size(), 2U);
}

}  // namespace
}  // namespace larkmoor::testing
