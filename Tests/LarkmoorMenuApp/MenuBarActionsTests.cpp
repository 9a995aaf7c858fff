// What a click does.
#include "LarkmoorMenuApp/MenuBarFixture.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(MenuBarTest, RecordingRowsOrderAndShowWhatIsTrue) {
    struct Case {
        std::string_view title;
        std::string order, verb;
    };
    launch();
    for (const Case& row :
         {Case{"• Pause 15 minutes", "pause_for 15", "pause_for"}, Case{"• Pause 1 hour", "pause_for 60", "pause_for"},
          Case{"• Stop", "pause", "pause"}, Case{"Resume", "resume", "resume"}}) {
        health = GatewayResponse::Text{row.order == "resume" ? "stopped" : "healthy"};
        refresh();
        const std::string title{row.order == "resume" ? "Start Recording" : row.title};
        control = GatewayResponse::Ok{};
        asked.clear();
        EXPECT_TRUE(click(title));
        EXPECT_THAT(asked, ElementsAre(row.order, "health", "front state"));

        const std::pair<GatewayResponse, std::string> notes[] = {
            {GatewayResponse::Failure{"no room"}, "menu: " + row.verb + " refused — no room"},
            {GatewayResponse::Unimplemented{"it"}, "menu: " + row.verb + " refused — this daemon does not accept it"},
            {GatewayResponse::Flag{true}, "menu: " + row.verb + " answered with an unexpected reply shape"},
        };
        for (const auto& [answer, note] : notes) {
            control = answer;
            asked.clear();
            EXPECT_TRUE(click(title));
            EXPECT_THAT(asked, ::testing::UnorderedElementsAre(row.order, note, "health", "front state"));
            EXPECT_EQ(asked.front(), row.order);
        }
    }
    EXPECT_THAT(alerts.shown, IsEmpty());
}

TEST_F(MenuBarTest, WindowsAreAskedForOrOpened) {
    const TemporaryFolder folder;
    bundle = folder / "Larkmoor.app";
    const std::string inside = bundle + "/Contents/Library/Settings/Larkmoor.app";
    const std::string beside = folder / "larkmoor-settings";
    struct Row {
        std::string_view title, pane;
        bool front;
    };
    tellJourney("1");
    launch();
    for (const Row& row : {Row{"Stats", "stats", false}, Row{"Settings", "settings", false},
                           Row{"Finish setting up Larkmoor…", "onboarding", true}}) {
        tellJourney(row.front ? "1" : "0");
        const auto clicked = [&] {
            done.clear();
            static_cast<void>(panes());
            EXPECT_TRUE(click(row.title));
            return done;
        };
        const auto withWord = [&](Words words, const char* way) {
            if (row.front) words.insert(words.begin(), fmt::format("setup log: menu: finish-setup row → {}", way));
            return words;
        };
        applications.running = {};
        std::filesystem::remove_all(folder.path());
        EXPECT_EQ(clicked(), withWord({}, "launch")) << "neither program is there";
        std::filesystem::create_directories(beside);
        EXPECT_EQ(clicked(), withWord({fmt::format("open {} --window={}", beside, row.pane)}, "launch"));
        std::filesystem::create_directories(inside);
        EXPECT_EQ(clicked(), withWord({fmt::format("open {} --window={}", inside, row.pane)}, "launch"));
        EXPECT_THAT(panes(), IsEmpty());
        runSettings();
        EXPECT_EQ(clicked(), withWord({}, "door post"));
        EXPECT_THAT(panes(), ElementsAre(fmt::format("{}{}", row.pane, row.front ? "!" : "")));
    }
}

TEST_F(MenuBarTest, QuitEndsTheFamilyAndNobodyElse) {
    bundle = "/tree/Larkmoor.app";
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
    alerts.choice = 0;
    asked.clear();
    EXPECT_TRUE(click("Quit"));
    EXPECT_EQ(applications.terminated, own);
    EXPECT_THAT(asked, ElementsAre("shutdown"));
    EXPECT_THAT(done, ElementsAre("terminate"));
    ASSERT_EQ(alerts.shown.size(), 1U);
    const Alert& alert = alerts.shown.front();
    EXPECT_EQ(alert.message, "Quit Larkmoor?");
    EXPECT_EQ(alert.text,
              "Recording stops. MCP stops. Settings closes. Icon leaves menu. Existing memories stay safe.");
    EXPECT_THAT(alert.buttons, ElementsAre("Quit", "Cancel"));
    EXPECT_TRUE(alert.showsApplicationIcon);
}

TEST_F(MenuBarTest, QuitIsAskedForFirst) {
    runSettings();
    launch();
    asked.clear();
    for (const auto& choice : {std::optional{1}, std::optional<int>{}}) {
        alerts.choice = choice;
        EXPECT_TRUE(click("Quit"));
    }
    EXPECT_THAT(done, IsEmpty());
    EXPECT_THAT(asked, IsEmpty());
    EXPECT_THAT(applications.terminated, IsEmpty());
    daemon = Daemon::silent;
    alerts.choice = 0;
    EXPECT_TRUE(click("Quit") && click("Quit"));
    EXPECT_EQ(alerts.shown.size(), 3U) << "a quit under way is not asked for again";
}

TEST_F(MenuBarTest, ADaemonThatIsGoneDoesNotStopTheQuit) {
    alerts.choice = 0;
    for (const Daemon state : {Daemon::gone, Daemon::refuses, Daemon::ofTwo}) {
        daemon = Daemon::answers;
        launch();
        daemon = state;
        endDaemon();
        done.clear();
        EXPECT_TRUE(click("Quit"));
        EXPECT_THAT(done, ElementsAre("terminate")) << static_cast<int>(state);
    }
}

TEST_F(MenuBarTest, UpdatesAreTheHostsOrAnExcuse) {
    const auto excuse = AllOf(
        ::testing::StartsWith("Larkmoor couldn't check for updates. Please download the latest version from https://"));
    duties.updateLine = [] { return MenuDuties::Line{.title = "Install Larkmoor 3", .actionable = true}; };
    duties.migrationOwed = [] { return true; };
    launch();
    open();
    for (const char* title : {"Check for Update…", "Install Larkmoor 3", "Migrate now"}) EXPECT_TRUE(click(title));
    ASSERT_EQ(alerts.shown.size(), 3U);
    EXPECT_THAT(alerts.shown[0].message, excuse);
    EXPECT_THAT(alerts.shown[1].message, excuse);
    EXPECT_EQ(alerts.shown[2].message,
              "Larkmoor couldn't update its data just now. It will try again the next time it opens.");
    for (const Alert& alert : alerts.shown) {
        EXPECT_EQ(alert.style, Alert::Style::informational);
        EXPECT_THAT(alert.buttons, ElementsAre("OK"));
    }

    duties.checkForUpdate = [this] { done.emplace_back("check"); };
    duties.installUpdate = [this] { done.emplace_back("install"); };
    duties.migrateNow = [] { return given(std::string{"All is up to date."}); };
    alerts.shown.clear();
    launch();
    open();
    for (const char* title : {"Check for Update…", "Install Larkmoor 3", "Migrate now"}) EXPECT_TRUE(click(title));
    EXPECT_THAT(done, ElementsAre("check", "install"));
    ASSERT_EQ(alerts.shown.size(), 1U);
    EXPECT_EQ(alerts.shown[0].message, "All is up to date.");
}

TEST_F(MenuBarTest, AMenuThatIsGoneDoesNothing) {
    duties.retireChatConnection = noting("retire");
    applications.running = {{9, "/x/claude", "com.anthropic.claudefordesktop"}};
    launch();
    tellJourney("1");
    alerts.choice = 0;
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
    applications.end("com.anthropic.claudefordesktop");
    settle();
    EXPECT_THAT(asked, IsEmpty());
    EXPECT_THAT(done, IsEmpty());
    EXPECT_THAT(alerts.shown, IsEmpty());
    EXPECT_EQ(door.kept(), 0U);
}

}  // namespace
}  // namespace larkmoor::testing
