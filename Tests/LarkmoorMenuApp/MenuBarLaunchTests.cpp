// The launch sequence, the windows of the settings application, and what comes by itself afterwards.
#include <fstream>

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
    EXPECT_THAT(done, ElementsAre("attach", "register", "warm", "converge", "journey?", "models"));
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
    for (const bool throws : {false, true}) {
        OneShotEvent registered{loop}, healed{loop};
        duties.supervision.registerLoginItems = noting("register", &registered);
        duties.supervision.clearQuitAndHealLooseAgent = noting("heal", &healed);
        hasUpdater = throws;
        dutiesThrow = throws;
        launch();
        registered.set();
        settle();
        EXPECT_THAT(done, ElementsAre("register done", "heal")) << "a start does not overtake the registration";
        healed.set();
        settle();
        Words want{"register done", "heal", "heal done", "bounce", "migrate", "updater"};
        if (hasUpdater) want.emplace_back("clock");
        EXPECT_EQ(done, want) << "an exception is an end, too";
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
        for (const auto& entry : std::filesystem::directory_iterator{folder.path()}) remove_all(entry.path());
        expect("launch", "");
        std::filesystem::create_directories(beside);
        expect("launch", "");
        std::filesystem::remove(beside);
        std::ofstream{beside} << "no program";
        expect("launch", "");
        std::filesystem::permissions(beside, std::filesystem::perms::owner_all);
        expect("launch", beside);
        std::filesystem::create_directories(inside);
        expect("launch", inside);
        EXPECT_THAT(panes(), IsEmpty());
        runSettings();
        expect("door post", "");
        EXPECT_THAT(panes(), ElementsAre(pane + (front ? "!" : "")));
    }
}

TEST_F(MenuBarTest, ACancelOfTheModelsUndoesThemAndQuits) {
    for (const bool throws : {false, true}) {
        OneShotEvent undone{loop};
        duties.models.cancel = noting("cancel", &undone);
        dutiesThrow = throws;
        alerts.answer = AlertAnswers::Chosen{0};
        launch();
        asked.clear();
        for (int time = 0; time < 2; ++time) {
            notifications.post("cancel.the.models", std::nullopt, {});
            settle();
            EXPECT_TRUE(click("Quit")) << "which does not cut the undoing short";
        }
        undone.set();
        settle();
        EXPECT_THAT(
            done, ElementsAre("setup log: cancel-install: the journey asked — stopping the pipeline and "
                              "undoing its receipts",
                              "cancel", "setup log: cancel-install: the journey asked, but a quit is under way already",
                              "cancel done", "terminate"));
        EXPECT_THAT(asked, ElementsAre("shutdown"));
        EXPECT_THAT(alerts.shown, IsEmpty());
    }
}

}  // namespace
}  // namespace larkmoor::testing
