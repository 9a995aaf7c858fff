// The launch sequence, and what comes by itself afterwards.
#include "LarkmoorMenuApp/MenuBarFixture.h"

namespace larkmoor::testing {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

TEST_F(MenuBarTest, RowsAreAsTheTableHasThemAtLaunch) {
    make();
    struct Case {
        std::string_view title;
        bool hasAction = true, hidden = false, enabled = true;
        int indent = 0, tag = 0;
        RowImage image{};
    };
    const Case separator{.title = "-"};
    const auto symbol = [](const char* name) { return RowImages::Symbol{name}; };
    const Case table[] = {
        {.title = "Larkmoor (v2.1 · build 340)", .hasAction = false, .enabled = false, .tag = 1},
        separator,
        {.title = "Finish setting up Larkmoor…", .hidden = true, .tag = 1},
        {.title = "Recording", .hasAction = false, .enabled = false, .image = RowImages::RecordingDot{}},
        {.title = "", .hasAction = false, .hidden = true, .enabled = false, .tag = 1},
        {.title = "• Pause 15 minutes", .indent = 1},
        {.title = "• Pause 1 hour", .indent = 1},
        {.title = "• Stop", .indent = 1},
        {.title = "Resume Recording", .image = RowImages::PausedRing{}},
        separator,
        {.title = "Stats", .image = symbol("chart.bar.xaxis")},
        separator,
        {.title = "Settings", .image = symbol("gearshape.fill")},
        separator,
        {.title = "Migrate now", .hidden = true},
        {.title = "", .hasAction = false, .hidden = true, .enabled = false},
        {.title = "", .hasAction = false, .hidden = true},
        {.title = "Check for Update…", .image = symbol("arrow.down.circle")},
        separator,
        {.title = "Quit", .tag = 1},
    };
    const auto& rows = item->menu->rows();
    ASSERT_EQ(rows.size(), std::size(table));
    for (std::size_t at = 0; at < rows.size(); ++at) {
        SCOPED_TRACE(at);
        const MenuRow& one = *rows[at];
        EXPECT_EQ(one.isSeparator(), table[at].title == "-");
        if (one.isSeparator()) continue;
        EXPECT_EQ(one.title(), table[at].title);
        EXPECT_EQ(one.hasAction(), table[at].hasAction);
        EXPECT_EQ(one.hidden(), table[at].hidden);
        EXPECT_EQ(one.enabled(), table[at].enabled);
        EXPECT_EQ(one.indent(), table[at].indent);
        EXPECT_EQ(one.tag(), table[at].tag);
        EXPECT_EQ(one.image(), table[at].image);
    }
}

TEST_F(MenuBarTest, TheMemoryHasARowThatStandsInNoMenu) {
    runSettings();
    launch();
    const auto& memory = menu->rows().memory;
    EXPECT_EQ(memory->title(), "Memory");
    EXPECT_EQ(memory->image(), RowImage{RowImages::PebbleIcon{}});
    EXPECT_THAT(item->menu->rows(), Not(Contains(memory)));
    memory->action()();
    settle();
    EXPECT_THAT(panes(), ElementsAre("editor"));
}

TEST_F(MenuBarTest, TheIconSaysNothingOfHealthBeforeAnAnswer) {
    daemon = Daemon::silent;
    launch();
    EXPECT_THAT(item->shown, ElementsAre(FakeStatusItem::Shown{StatusIcon::trailFilled, "Larkmoor"}));
}

TEST_F(MenuBarTest, AnUpdateRowOfTheLaunchIsThereAtOnce) {
    duties.updateLine = [] { return MenuDuties::Line{.title = "Update ready", .actionable = true}; };
    make();
    EXPECT_FALSE(menu->rows().updateRow->hidden());
    EXPECT_TRUE(menu->rows().updateRow->hasAction());
}

class MenuBarLaunchTest : public MenuBarTest {
  protected:
    MenuBarLaunchTest() {
        duties.registerLoginItems = noting("A", &registered);
        duties.warmBundledBinaries = noting("B");
        duties.clearQuitAndHealLooseAgent = noting("C", &healed);
        duties.postSwapBounce = noting("bounce");
        duties.migrateAtLaunch = noting("migrate");
        duties.buildUpdater = [this] { return building(done, hasUpdater); };
        duties.armDailyClock = [this] { done.emplace_back("clock"); };
        duties.converge = noting("E");
        duties.journeyWarranted = [this] {
            done.emplace_back("journey?");
            return given(warranted);
        };
        duties.startLocalModelsIfNeeded = noting("models");
        duties.attachModelsProgress = [this] { done.emplace_back("attach"); };
    }
    static Task<bool> building(Words& list, bool answer) {
        list.emplace_back("updater");
        co_return answer;
    }

    OneShotEvent registered{loop}, healed{loop};
    bool hasUpdater = true;
};

TEST_F(MenuBarLaunchTest, StartsItsDutiesInOrder) {
    // Health is not answered, so that its own question about the journey does not come between.
    daemon = Daemon::silent;
    launch();
    EXPECT_THAT(done, ElementsAre("attach", "A", "B", "C", "E", "journey?", "models"));
    EXPECT_THAT(asked, ElementsAre("health"));
    EXPECT_EQ(notifications.listening(), 2U);
    EXPECT_EQ(timers.running(), 1U);
    EXPECT_EQ(door.dialled(), 2U) << "requests and events";
}

TEST_F(MenuBarLaunchTest, UpdatesWaitForTheAgentAndGoInOrder) {
    for (const bool registeredFirst : {true, false}) {
        for (const bool updater : {true, false}) {
            OneShotEvent a{loop}, c{loop};
            duties.registerLoginItems = noting("A", &a);
            duties.clearQuitAndHealLooseAgent = noting("C", &c);
            hasUpdater = updater;
            done.clear();
            launch();
            (registeredFirst ? a : c).set();
            settle();
            EXPECT_THAT(done, AllOf(Contains(registeredFirst ? "A done" : "C done"), Not(Contains("bounce"))));
            done.clear();
            (registeredFirst ? c : a).set();
            settle();
            Words expected{registeredFirst ? "C done" : "A done", "bounce", "migrate", "updater"};
            if (updater) expected.emplace_back("clock");
            EXPECT_EQ(done, expected);
        }
    }
}

TEST_F(MenuBarTest, TheJourneyOpensByItselfWhenItIsOwed) {
    runSettings();
    for (const auto& answer : {std::optional{true}, std::optional{false}, std::optional<bool>{}}) {
        warranted = answer;
        launch();
        EXPECT_EQ(panes(), answer == true ? Words{"onboarding"} : Words{});
    }
    EXPECT_THAT(done, IsEmpty()) << "a window behind others is no line of the setup log";
}

TEST_F(MenuBarTest, StartingItAgainLeadsToTheRightWindow) {
    struct Case {
        bool visible;
        std::optional<bool> warranted;
        Words panes;
    };
    duties.releaseQuitIfHeld = noting("release quit");
    launch();
    runSettings();
    for (const Case& row :
         {Case{true, false, {"onboarding"}}, Case{true, std::nullopt, {"onboarding"}},
          Case{false, true, {"onboarding"}}, Case{false, false, {"settings"}}, Case{false, std::nullopt, {}}}) {
        warranted = row.warranted;
        tellJourney(row.visible ? "1" : "0");
        done.clear();
        EXPECT_FALSE(menu->applicationShouldHandleReopen());
        settle();
        EXPECT_THAT(done, ElementsAre("release quit"));
        EXPECT_EQ(panes(), row.panes);
    }
}

TEST_F(MenuBarTest, OnlyClaudesEndRetiresItsConnection) {
    duties.retireChatConnection = noting("retire");
    launch();
    const std::string claude = "com.anthropic.claudefordesktop";
    for (int time = 0; time < 2; ++time) {
        done.clear();
        applications.running = {{8, "/x/other", "com.example.other"}, {9, "/x/claude", claude}};
        tick();
        applications.end("com.example.other");
        settle();
        EXPECT_THAT(done, IsEmpty());
        applications.end(claude);
        settle();
        EXPECT_THAT(done, ElementsAre("retire"));
    }
}

TEST_F(MenuBarTest, ACancelOfTheModelsUndoesThemAndQuits) {
    duties.cancelLocalModels = noting("cancel");
    launch();
    asked.clear();
    notifications.post("tools.fenwright.larkmoor.cancel-local-models", std::nullopt, {});
    settle();
    EXPECT_THAT(done,
                ElementsAre("setup log: cancel-install: the journey asked — stopping the pipeline and undoing its "
                            "receipts",
                            "cancel", "terminate"));
    EXPECT_THAT(asked, ElementsAre("shutdown"));
    EXPECT_THAT(alerts.shown, IsEmpty());
}

}  // namespace
}  // namespace larkmoor::testing
