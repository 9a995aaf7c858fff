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
    struct Look {
        std::string title;
        bool hidden, hasAction;
        RowProgress progress;
        bool operator==(const Look&) const = default;
    };
    static Look look(const MenuRow& row) {
        return {row.hidden() ? "" : row.title(), row.hidden(), row.hasAction(), row.progress()};
    }
    static Look lookOf(const std::optional<MenuLine>& line) {
        if (!line) return {"", true, false, {}};
        return {line->title, false, line->click == installNow && line->bar == MenuLine::Bar{}, line->bar};
    }
    void tickOpenMenu() {
        EXPECT_TRUE(timers.fire(MenuBar::tickerInterval));
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
    for (const auto& from : lines) {
        for (const auto& to : lines) {
            SCOPED_TRACE(fmt::format("{} -> {}", from ? from->title : "none", to ? to->title : "none"));
            Look fromModels = lookOf(from), toModels = lookOf(to);
            // The models' row has no action.
            fromModels.hasAction = toModels.hasAction = false;
            const Look before = look(updateRow);
            models = update = from;
            tick();
            EXPECT_EQ(look(updateRow), before) << "progress does not draw a closed menu";
            open();
            EXPECT_EQ(look(modelsLine), fromModels);
            EXPECT_EQ(look(updateRow), lookOf(from));
            models = update = to;
            tickOpenMenu();
            EXPECT_EQ(look(modelsLine), from && to ? toModels : fromModels) << "under the mouse";
            EXPECT_EQ(look(updateRow), lookOf(from && to ? to : from)) << "under the mouse";
            if (from && !to) {
                allDone = true;
                tickOpenMenu();
                EXPECT_EQ(modelsLine.progress(), RowProgress{Fill{1}});
                EXPECT_FALSE(modelsLine.hidden());
                allDone = false;
            }
            close();
            EXPECT_EQ(look(modelsLine), toModels);
            EXPECT_EQ(look(updateRow), lookOf(to));
            EXPECT_FALSE(timers.fire(MenuBar::tickerInterval)) << "no ticker while it is closed";
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
        close();
        open();
        EXPECT_FALSE(menu->rows().modelsLine->hidden());
        EXPECT_TRUE(menu->rows().updateRow->hidden());
        close();
        tellJourney("0");
        EXPECT_FALSE(menu->rows().postponedRow->hidden());
        EXPECT_FALSE(menu->rows().migrateNowRow->hidden());
        open();
        EXPECT_FALSE(menu->rows().updateRow->hidden());
        close();
    }
    postponed.reset();
    owed = false;
    tellJourney("1");
    tellJourney("0");
    EXPECT_TRUE(menu->rows().postponedRow->hidden()) << "nothing comes up that is not owed";
    EXPECT_TRUE(menu->rows().migrateNowRow->hidden());
}

TEST_F(MenuBarRowsTest, OwedRowsAreSetWhenTheMenuOpens) {
    launch();
    const MenuRow& row = *menu->rows().postponedRow;
    for (const char* sentence : {"Update 3 waits.", "Update 4 waits.", "", "Update 3 waits.", ""}) {
        postponed = *sentence == '\0' ? std::nullopt : std::optional<std::string>{sentence};
        owed = !postponed;
        open();
        EXPECT_EQ(look(row), (Look{sentence, !postponed, false, {}}));
        EXPECT_EQ(menu->rows().migrateNowRow->hidden(), !owed);
        close();
    }
}

TEST_F(MenuBarTest, OpeningAsksTheDaemonAndReleasesAQuit) {
    launch();
    asked.clear();
    open();
    EXPECT_THAT(asked, ElementsAre("health", "front state"));
    EXPECT_THAT(done, ElementsAre("release quit"));
    close();
    EXPECT_EQ(asked.size() + done.size(), 3U);
}

TEST_F(MenuBarTest, PauseRowsSendTheirRequestAndShowWhatIsTrue) {
    launch();
    struct Case {
        std::string_view title;
        std::string order, verb;
    };
    for (const Case& row :
         {Case{"• Pause 15 minutes", "pause_for 15", "pause_for"}, Case{"• Pause 1 hour", "pause_for 60", "pause_for"},
          Case{"• Stop", "pause", "pause"}, Case{"Start Recording", "resume", "resume"}}) {
        health = GatewayResponse::Text{row.order == "resume" ? "stopped" : "healthy"};
        refresh();
        const std::pair<GatewayResponse, std::string> notes[] = {
            {GatewayResponse::Ok{}, ""},
            {GatewayResponse::Failure{"no room"}, "menu: " + row.verb + " refused — no room"},
            {GatewayResponse::Unimplemented{"it"}, "menu: " + row.verb + " refused — this daemon does not accept it"},
            {GatewayResponse::Flag{true}, "menu: " + row.verb + " answered with an unexpected reply shape"},
        };
        for (const auto& [answer, note] : notes) {
            control = answer;
            asked.clear();
            EXPECT_TRUE(click(row.title));
            EXPECT_EQ(asked.front(), row.order);
            Words all{row.order, "health", "front state"};
            if (!note.empty()) all.push_back(note);
            EXPECT_THAT(asked, ::testing::UnorderedElementsAreArray(all));
        }
    }
    EXPECT_THAT(alerts.shown, IsEmpty());
}

TEST_F(MenuBarTest, UpdateClicksAreAnsweredInWordsOrNotAtAll) {
    update = MenuLine{.title = "3 ready", .click = installNow};
    owed = true;
    launch();
    open();
    done.clear();
    for (const char* title : {"Check for Update…", "3 ready", "Migrate now"}) EXPECT_TRUE(click(title));
    EXPECT_THAT(done, ElementsAre("click: The newest one is there.", "click: no words", "click: All is up to date."));
    ASSERT_EQ(alerts.shown.size(), 2U);
    for (const Alert& alert : alerts.shown) {
        EXPECT_EQ(alert.style, Alert::Style::informational);
        EXPECT_EQ("click: " + alert.message, done[&alert == &alerts.shown[0] ? 0 : 2]);
        EXPECT_THAT(alert.buttons, ElementsAre("OK"));
    }
    for (const bool is : {true, false}) {
        migrating = is;
        for (const auto& one : menu->rows().inOrder)
            EXPECT_EQ(menu->validateMenuItem(*one), !is || one != menu->rows().migrateNowRow) << one->title();
    }
}

TEST_F(MenuBarTest, QuitEndsTheFamilyAndNobodyElse) {
    struct Case {
        std::optional<std::string> id;
        std::string executable;
        bool isOwn;
    };
    const Case table[] = {
        {"tools.fenwright.larkmoor.settings", "/elsewhere/anything", true},
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
    for (const Case& row : table) {
        applications.running.push_back({static_cast<pid_t>(applications.running.size() + 100), row.executable, row.id});
        if (row.isOwn) own.push_back(applications.running.back().process);
    }
    asked.clear();
    // Nothing happens, and the row may be clicked again.
    for (const AlertAnswer& answer : {AlertAnswer{AlertAnswers::Chosen{1}}, AlertAnswer{AlertAnswers::Dismissed{}}}) {
        alerts.answer = answer;
        EXPECT_TRUE(click("Quit"));
    }
    EXPECT_THAT(done, IsEmpty());
    EXPECT_THAT(asked, IsEmpty());
    EXPECT_THAT(applications.terminated, IsEmpty());

    alerts.answer = AlertAnswers::Chosen{0};
    EXPECT_TRUE(click("Quit"));
    EXPECT_EQ(applications.terminated, own);
    EXPECT_THAT(asked, ElementsAre("shutdown"));
    EXPECT_THAT(done, ElementsAre("terminate"));
    ASSERT_EQ(alerts.shown.size(), 3U);
    const Alert& alert = alerts.shown.front();
    EXPECT_EQ(alert.message, "Quit Larkmoor?");
    EXPECT_EQ(alert.text,
              "Recording stops. MCP stops. Settings closes. Icon leaves menu. Existing memories stay safe.");
    EXPECT_THAT(alert.buttons, ElementsAre("Quit", "Cancel"));
    EXPECT_TRUE(alert.showsApplicationIcon);
}

TEST_F(MenuBarTest, AQuitUnderWayIsNotAskedForAgain) {
    launch();
    daemon = Daemon::silent;
    alerts.answer = AlertAnswers::Chosen{0};
    EXPECT_TRUE(click("Quit") && click("Quit"));
    EXPECT_EQ(alerts.shown.size(), 1U);
    EXPECT_THAT(done, IsEmpty()) << "the daemon has its time to answer";
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
    EXPECT_EQ(timers.running(), 0U);
    EXPECT_EQ(notifications.listening(), 0U);

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
    EXPECT_THAT(asked, IsEmpty());
    EXPECT_THAT(done, IsEmpty());
    EXPECT_THAT(alerts.shown, IsEmpty());
    EXPECT_EQ(door.kept(), 0U);
}

}  // namespace
}  // namespace larkmoor::testing
