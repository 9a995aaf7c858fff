// The open menu: rows that follow work under way, and what a click does.
#include "LarkmoorMenuApp/MenuBarFixture.h"

namespace larkmoor::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Fill = RowProgresses::Fill;
using Indeterminate = RowProgresses::Indeterminate;
using enum MenuLine::Click;

class MenuBarRowsTest : public MenuBarTest {
  protected:
    static std::string looks(const std::string& title, bool hasAction, const RowProgress& progress) {
        const auto* fill = std::get_if<Fill>(&progress);
        return fmt::format("{} {} {} {}", title, hasAction, progress.index(), fill == nullptr ? 0 : fill->value);
    }
    static std::string look(const MenuRow& row) {
        return row.hidden() ? "hidden" : looks(row.title(), row.hasAction(), row.progress());
    }
    /// How a row shows the line; only the update's can have an action.
    static std::string lookOf(const std::optional<MenuLine>& line, bool ofUpdate) {
        if (!line) return "hidden";
        return looks(line->title, ofUpdate && line->click == installNow && line->bar == MenuLine::Bar{}, line->bar);
    }
    void tickOpenMenu() {
        EXPECT_TRUE(timers.call(MenuBar::tickerInterval));
        settle();
    }

    const std::vector<std::optional<MenuLine>> lines{
        std::nullopt,
        MenuLine{.title = "Unpacking 3…"},
        MenuLine{.title = "3 ready", .click = installNow},
        MenuLine{.title = "Downloading 3, 25%", .bar = Fill{0.25}},
        MenuLine{.title = "Downloading 3, 50%", .bar = Fill{0.5}, .click = installNow},
        MenuLine{.title = "Downloading 3…", .bar = Indeterminate{}},
    };
};

/// Each line and the next one, with the menu open and closed.
TEST_F(MenuBarRowsTest, LinesChangeInPlaceAndComeAndGoWithTheMenuClosed) {
    launch();
    const MenuRow& modelsLine = *menu->rows().modelsLine;
    const MenuRow& updateRow = *menu->rows().updateRow;
    const auto expect = [&](const std::optional<MenuLine>& line) {
        EXPECT_EQ(look(modelsLine), lookOf(line, false));
        EXPECT_EQ(look(updateRow), lookOf(line, true));
    };
    for (const auto& from : lines) {
        for (const auto& to : lines) {
            SCOPED_TRACE(fmt::format("{} -> {}", from ? from->title : "none", to ? to->title : "none"));
            const std::string before = look(updateRow);
            const bool hadRow = !modelsLine.hidden();
            models = update = from;
            tick();
            EXPECT_EQ(look(updateRow), before) << "progress does not draw a closed menu";
            const std::string drawn = look(modelsLine);
            modelsChanged();
            EXPECT_EQ(modelsLine.hidden(), !from) << "a host sizes the menu before it opens";
            if (from && hadRow) EXPECT_EQ(look(modelsLine), drawn) << "progress does not draw a closed menu";
            updateChanged();
            EXPECT_EQ(look(updateRow), lookOf(from, true)) << "some hosts do not tell that they open the menu";
            open();
            expect(from);
            models = update = to;
            updateChanged();
            EXPECT_EQ(look(updateRow), lookOf(from && to ? to : from, true));
            tickOpenMenu();
            modelsChanged();
            // No row comes or goes under the mouse.
            expect(from && to ? to : from);
            if (from && !to) {
                allDone = true;
                tickOpenMenu();
                EXPECT_EQ(modelsLine.progress(), RowProgress{Fill{1}});
                EXPECT_FALSE(modelsLine.hidden());
                allDone = false;
            }
            close();
            expect(to);
            EXPECT_FALSE(timers.call(MenuBar::tickerInterval)) << "no ticker while it is closed";
        }
    }
}

TEST_F(MenuBarRowsTest, SetupKeepsTheModelsAndHidesTheRest) {
    launch();
    models = update = lines[1];
    postponed = "Update 3 is postponed.";
    owed = true;
    for (int time = 0; time < 2; ++time) {
        tellJourney("1");
        EXPECT_FALSE(menu->rows().modelsLine->hidden()) << "the change of mode shows it at once";
        open();
        EXPECT_FALSE(menu->rows().modelsLine->hidden());
        EXPECT_TRUE(menu->rows().updateRow->hidden());
        close();
        tellJourney("0");
        EXPECT_FALSE(menu->rows().postponedRow->hidden() || menu->rows().migrateNowRow->hidden());
        open();
        EXPECT_FALSE(menu->rows().updateRow->hidden());
        close();
    }
    postponed.reset();
    owed = false;
    tellJourney("1");
    tellJourney("0");
    EXPECT_TRUE(menu->rows().postponedRow->hidden() && menu->rows().migrateNowRow->hidden())
        << "nothing comes up that is not owed";
    for (const char* sentence : {"Update 3 waits.", "Update 4 waits.", "", "Update 3 waits.", ""}) {
        owed = *sentence != '\0';
        postponed = owed ? std::optional<std::string>{sentence} : std::nullopt;
        done.clear();
        asked.clear();
        open();
        EXPECT_EQ(look(*menu->rows().postponedRow), owed ? looks(sentence, false, {}) : "hidden");
        EXPECT_EQ(menu->rows().migrateNowRow->hidden(), !owed);
        close();
        EXPECT_THAT(done, ElementsAre("release quit"));
        EXPECT_THAT(asked, ElementsAre("health", "front state"));
    }
}

TEST_F(MenuBarRowsTest, AnUpgradeIsLookedForAtTheOpeningAndByTheClock) {
    launch();
    upgrade = lines[1];
    open();
    EXPECT_EQ(look(*menu->rows().updateRow), lookOf(lines[1], true)) << "before the rows are shown";
    upgrade = lines[2];
    close();
    EXPECT_EQ(update, lines[1]);
    tick();
    EXPECT_EQ(update, lines[2]);
}

TEST_F(MenuBarTest, PauseRowsSendTheirRequestAndShowWhatIsTrue) {
    launch();
    const std::tuple<std::string_view, std::string, std::string> rows[] = {
        {"• Pause 15 minutes", "pause_for 15", "pause_for"},
        {"• Pause 1 hour", "pause_for 60", "pause_for"},
        {"• Stop", "pause", "pause"},
        {"Start Recording", "resume", "resume"}};
    const std::pair<GatewayResponse, std::string> answers[] = {
        {GatewayResponse::Ok{}, ""},
        {GatewayResponse::Failure{"no room"}, "menu: {} refused — no room"},
        {GatewayResponse::Unimplemented{"it"}, "menu: {} refused — this daemon does not accept it"},
        {GatewayResponse::Flag{true}, "menu: {} answered with an unexpected reply shape"}};
    for (const auto& [title, order, verb] : rows) {
        health = GatewayResponse::Text{order == "resume" ? "stopped" : "healthy"};
        tick();
        for (const auto& [answer, note] : answers) {
            control = answer;
            asked.clear();
            EXPECT_TRUE(click(title));
            EXPECT_EQ(asked.front(), order);
            Words all{order, "health", "front state"};
            if (!note.empty()) all.push_back(fmt::format(fmt::runtime(note), verb));
            EXPECT_THAT(asked, ::testing::UnorderedElementsAreArray(all));
        }
    }
    EXPECT_THAT(alerts.shown, IsEmpty());
}

TEST_F(MenuBarTest, UpdateClicksAreAnsweredInWordsOrNotAtAll) {
    update = MenuLine{.title = "3 ready", .click = installNow};
    owed = true;
    launch();
    EXPECT_TRUE(click("3 ready")) << "an update of the launch is there at once";
    EXPECT_TRUE(click("Check for Update…"));
    open();
    EXPECT_TRUE(click("Migrate now"));
    EXPECT_THAT(done, ElementsAre("install", "check", "release quit", "migrate now"));
    const auto words = [](const std::string& message) {
        return Alert{.style = Alert::Style::informational, .message = message, .buttons = {"OK"}};
    };
    EXPECT_THAT(alerts.shown, ElementsAre(words(*checked), words(*migrated)));
    for (const bool is : {true, false}) {
        migrating = is;
        for (const auto& one : menu->rows().inOrder)
            EXPECT_EQ(menu->validateMenuItem(*one), !is || one != menu->rows().migrateNowRow) << one->title();
    }
}

TEST_F(MenuBarTest, QuitEndsTheFamilyAndNobodyElse) {
    const std::tuple<std::optional<std::string>, std::string, bool> table[] = {
        {"tools.fenwright.larkmoor.settings", "/elsewhere/X.app/Contents/MacOS/anything", true},
        {"tools.fenwright.larkmoor.settings", "/usr/bin/sleep", false},
        {std::nullopt, "/tree/larkmoor-settings", true},
        {"com.example", "/tree/deeper/down/larkmoor-settings", true},
        {std::nullopt, "/other/../tree/./larkmoor-settings", true},
        {std::nullopt, "/home/dev/dist/larkmoor-settings", true},
        {std::nullopt, "/home/dev/dist/build/larkmoor-settings", true},
        {std::nullopt, "/tree/../usr/bin/larkmoor-settings", false},
        {std::nullopt, "/tree2/larkmoor-settings", false},
        {std::nullopt, "/home/dev/distant/larkmoor-settings", false},
        {std::nullopt, "/tree/larkmoor-settings-helper", false},
        {std::nullopt, "/tree/larkmoor-settings/program", false},
        {"tools.fenwright.larkmoor.menubar", "/tree/Larkmoor.app/Contents/MacOS/larkmoor-menubar", false},
        {"tools.fenwright.larkmoor.settings2", "/x/settings", false},
        {std::nullopt, "", false},
    };
    std::vector<pid_t> own;
    launch();
    for (const auto& [id, executable, isOwn] : table) {
        applications.running.push_back({static_cast<pid_t>(applications.running.size() + 100), executable, id});
        if (isOwn) own.push_back(applications.running.back().process);
    }
    asked.clear();
    // Nothing happens, and the row may be clicked again.
    for (const AlertAnswer& answer : {AlertAnswer{AlertAnswers::Chosen{1}}, AlertAnswer{AlertAnswers::Dismissed{}}}) {
        alerts.answer = answer;
        EXPECT_TRUE(click("Quit"));
    }
    EXPECT_EQ(done.size() + asked.size() + applications.terminated.size(), 0U);

    alerts.answer = AlertAnswers::Chosen{0};
    EXPECT_TRUE(click("Quit"));
    EXPECT_EQ(applications.terminated, own);
    EXPECT_THAT(asked, ElementsAre("shutdown"));
    EXPECT_THAT(done, ElementsAre("terminate"));
    EXPECT_EQ(alerts.shown.size(), 3U);
    EXPECT_EQ(
        alerts.shown.front(),
        (Alert{.style = Alert::Style::warning,
               .message = "Quit Larkmoor?",
               .text = "Recording stops. MCP stops. Settings closes. Icon leaves menu. Existing memories stay safe.",
               .buttons = {"Quit", "Cancel"},
               .showsApplicationIcon = true}));

    // Where no alert can be shown, the row asks, and nobody needs to open the menu for its end.
    alerts.answer = AlertAnswers::NotShown{};
    done.clear();
    EXPECT_TRUE(click("Quit"));
    EXPECT_TRUE(timers.call(Quit::rowPatience));
    EXPECT_TRUE(click("Quit"));
    EXPECT_THAT(done, IsEmpty());
    EXPECT_TRUE(click("Quit Larkmoor? Click again to quit"));
    EXPECT_THAT(done, ElementsAre("terminate"));
    EXPECT_EQ(alerts.shown.size(), 5U);
    EXPECT_FALSE(timers.call(Quit::rowPatience)) << "no timer without a question";

    alerts.answer = AlertAnswers::Chosen{0};
    done.clear();
    daemon = Daemon::silent;
    open();
    EXPECT_TRUE(click("Quit") && click("Quit"));
    EXPECT_EQ(alerts.shown.size(), 6U) << "a quit under way is not asked for again";
    EXPECT_THAT(done, ElementsAre("release quit")) << "the daemon has its time to answer";
}

TEST_F(MenuBarTest, AQuitLetsAMigrationComeToItsEnd) {
    OneShotEvent rests{loop};
    storeWork = &rests;
    alerts.answer = AlertAnswers::Chosen{0};
    launch();
    asked.clear();
    EXPECT_TRUE(click("Quit"));
    EXPECT_EQ(row("Quits when the data is updated…"), menu->rows().quitRow);
    EXPECT_EQ(asked.size() + done.size(), 0U) << "the daemon would be started again after the migration";
    rests.set();
    settle();
    EXPECT_THAT(asked, ElementsAre("shutdown"));
    EXPECT_THAT(done, ElementsAre("terminate"));
}

TEST_F(MenuBarTest, TheRowAsksWhileTheQuitAlertIsOutOfSight) {
    const std::string asking = "Quit Larkmoor? Click again to quit";
    launch();
    for (const bool inRow : {false, true}) {
        OneShotEvent answered{loop};
        alerts.until = &answered;
        EXPECT_TRUE(click("Quit"));
        alerts.watch.onSight(true);
        EXPECT_TRUE(click("Quit")) << "where the window may be, nobody knows";
        EXPECT_EQ(row(asking), menu->rows().quitRow);
        EXPECT_TRUE(timers.call(Quit::rowPatience));
        EXPECT_EQ(row("Quit"), menu->rows().quitRow);
        alerts.watch.onSight(false);
        EXPECT_FALSE(timers.call(Quit::rowPatience)) << "as long as it is out of sight";
        if (inRow) EXPECT_TRUE(click(asking));
        EXPECT_EQ(alerts.watch.withdrawn.stop_requested(), inRow);
        EXPECT_EQ(row(inRow ? "Quit" : asking), menu->rows().quitRow);
        answered.set();
        settle();
        EXPECT_EQ(row("Quit"), menu->rows().quitRow) << "the alert was dismissed, or its answer comes too late";
        EXPECT_EQ(done, inRow ? Words{"terminate"} : Words{});
    }
    EXPECT_EQ(alerts.shown.size(), 2U);
}

TEST_F(MenuBarTest, AMenuThatIsGoneDoesNothing) {
    applications.running = {{9, "/x/old", "the.old.one"}};
    launch();
    tellJourney("1");
    alerts.answer = AlertAnswers::Chosen{0};
    daemon = Daemon::silent;
    open();
    daemon = Daemon::answers;
    asked.clear();
    const auto heldMenu = item->menu;
    const std::weak_ptr weak{menu};
    menu.reset();
    EXPECT_FALSE(weak.expired()) << "a pass is under way";
    door.answer(door.sent().size() - 1, replyOf(health));
    settle();
    ASSERT_TRUE(weak.expired());
    EXPECT_THAT(asked, ElementsAre("front state")) << "which came to its end";
    EXPECT_EQ(timers.alive() + notifications.observers.alive(), 0);

    // The tray may hold the rows for a moment longer.
    asked.clear();
    done.clear();
    heldMenu->close();
    heldMenu->open();
    for (const auto& one : heldMenu->rows()) {
        one->setHidden(false);
        heldMenu->click(*one);
    }
    applications.end("the.old.one");
    settle();
    EXPECT_EQ(asked.size() + done.size() + alerts.shown.size() + door.kept(), 0U);
}

}  // namespace
}  // namespace larkmoor::testing
