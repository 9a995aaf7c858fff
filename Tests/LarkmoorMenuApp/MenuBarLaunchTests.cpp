// The launch sequence, the windows of the settings application, and what comes by itself afterwards.
#include "LarkmoorMenuApp/MenuBarFixture.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

/// "title", and what else is to be said of the row.
std::string described(const MenuRow& row) {
    if (row.isSeparator()) return "-";
    const char* const images[] = {"", ", dot", ", ring", ", pebble", ", "};
    const auto* symbol = std::get_if<RowImages::Symbol>(&row.image());
    return fmt::format("{}{}{}{}{}{}{}{}", row.title(), row.hasAction() ? "" : ", no action",
                       row.hidden() ? ", hidden" : "", row.enabled() ? "" : ", disabled",
                       row.indent() == 0 ? "" : ", indented", row.tag() == 0 ? "" : fmt::format(", tag {}", row.tag()),
                       images[row.image().index()], symbol == nullptr ? "" : symbol->name);
}

TEST_F(MenuBarTest, RowsAreAsTheTableHasThemAtLaunch) {
    make();
    Words rows;
    for (const auto& one : item->menu->rows()) rows.push_back(described(*one));
    EXPECT_THAT(rows, ElementsAre("Larkmoor (v2.1 · build 340), no action, disabled, tag 1", "-",
                                  "Finish setting up Larkmoor…, hidden, tag 1", "Recording, no action, disabled, dot",
                                  ", no action, hidden, disabled, tag 1", "• Pause 15 minutes, indented",
                                  "• Pause 1 hour, indented", "• Stop, indented", "Resume Recording, ring", "-",
                                  "Stats, chart.bar.xaxis", "-", "Settings, gearshape.fill", "-", "Migrate now, hidden",
                                  ", no action, hidden, disabled", ", no action, hidden",
                                  "Check for Update…, arrow.down.circle", "-", "Quit, tag 1"));
    EXPECT_EQ(described(*menu->rows().memory), "Memory, pebble");
    EXPECT_THAT(item->menu->rows(), Not(Contains(menu->rows().memory)));
}

TEST_F(MenuBarTest, StartsItsDutiesInOrder) {
    OneShotEvent never{loop};
    duties.supervision.registerLoginItems = noting("register", &never);
    duties.firstRun.journeyWarranted = answering("journey?", warranted);
    // Health is not answered, so that the refresh asks no question about the journey in between.
    daemon = Daemon::silent;
    make();
    settle();
    EXPECT_THAT(done, ElementsAre("attach", "register", "warm", "heal", "converge", "journey?", "models"));
    EXPECT_THAT(asked, ElementsAre("health"));
    EXPECT_THAT(item->shown, ElementsAre(FakeStatusItem::Shown{StatusIcon::trailFilled, "Larkmoor"}))
        << "without an answer the icon says nothing of health";
    EXPECT_EQ(notifications.observers.alive(), 2);
    EXPECT_EQ(timers.alive(), 1);
    EXPECT_EQ(door.dialled(), 2U) << "requests and events";
    never.set();
    settle();
}

TEST_F(MenuBarTest, UpdatesWaitForTheAgentAndGoInOrder) {
    for (const bool registeredFirst : {true, false}) {
        OneShotEvent registered{loop}, healed{loop};
        duties.supervision.registerLoginItems = noting("register", &registered);
        duties.supervision.clearQuitAndHealLooseAgent = noting("heal", &healed);
        hasUpdater = registeredFirst;
        launch();
        (registeredFirst ? registered : healed).set();
        settle();
        EXPECT_THAT(done, ElementsAre(registeredFirst ? "register done" : "heal done"));
        (registeredFirst ? healed : registered).set();
        settle();
        done.erase(done.begin(), done.begin() + 2);
        EXPECT_EQ(done, hasUpdater ? (Words{"bounce", "migrate", "updater", "clock"})
                                   : (Words{"bounce", "migrate", "updater"}));
    }
}

TEST_F(MenuBarTest, LaunchAndReopenLeadToTheRightWindow) {
    const std::tuple<bool, std::optional<bool>, Words, Words> table[] = {{true, false, {}, {"onboarding"}},
                                                                         {true, std::nullopt, {}, {"onboarding"}},
                                                                         {false, true, {"onboarding"}, {"onboarding"}},
                                                                         {false, false, {}, {"settings"}},
                                                                         {false, std::nullopt, {}, {}}};
    runSettings();
    for (const auto& [visible, owed, atLaunch, atReopen] : table) {
        warranted = owed;
        launch();
        EXPECT_EQ(panes(), atLaunch);
        tellJourney(visible ? "1" : "0");
        EXPECT_FALSE(menu->applicationShouldHandleReopen());
        settle();
        EXPECT_THAT(done, ElementsAre("release quit"));
        EXPECT_EQ(panes(), atReopen);
    }
}

TEST_F(MenuBarTest, WindowsAreAskedForOrOpened) {
    const TemporaryFolder folder;
    bundle = folder / "Larkmoor.app";
    const std::string inside = bundle + "/Contents/Library/Settings/Larkmoor.app";
    const std::string beside = folder / "larkmoor-settings";
    launch();
    const std::pair<std::shared_ptr<MenuRow>, std::string> table[] = {{row("Stats"), "stats"},
                                                                      {row("Settings"), "settings"},
                                                                      {menu->rows().memory, "editor"},
                                                                      {menu->rows().setupRow, "onboarding"}};
    for (const auto& [row, pane] : table) {
        const bool front = pane == "onboarding";
        const auto expect = [&](const char* way, const std::string& opened) {
            done.clear();
            row->action()();
            settle();
            Words words;
            if (front) words.push_back(fmt::format("setup log: menu: finish-setup row → {}", way));
            if (!opened.empty()) words.push_back(fmt::format("open {} --window={}", opened, pane));
            EXPECT_EQ(done, words);
        };
        applications.running = {};
        std::filesystem::remove_all(folder.path());
        expect("launch", "");
        std::filesystem::create_directories(beside);
        expect("launch", beside);
        std::filesystem::create_directories(inside);
        expect("launch", inside);
        EXPECT_THAT(panes(), IsEmpty());
        runSettings();
        expect("door post", "");
        EXPECT_THAT(panes(), ElementsAre(pane + (front ? "!" : "")));
    }
}

TEST_F(MenuBarTest, OnlyTheEndOfTheRetiredApplicationMatters) {
    launch();
    for (int time = 0; time < 2; ++time) {
        applications.running = {{8, "/x/other", "com.example.other"}, {9, "/x/old", "the.old.one"}};
        tick();
        applications.end("com.example.other");
        settle();
        EXPECT_THAT(done, IsEmpty());
        applications.end("the.old.one");
        settle();
        EXPECT_THAT(std::exchange(done, {}), ElementsAre("retire"));
    }
}

TEST_F(MenuBarTest, ACancelOfTheModelsUndoesThemAndQuits) {
    launch();
    asked.clear();
    notifications.post("cancel.the.models", std::nullopt, {});
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
