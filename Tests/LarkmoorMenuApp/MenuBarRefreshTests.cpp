// How the menu is kept true to the daemon.
#include <stdexcept>

#include "LarkmoorMenuApp/MenuBarFixture.h"
#include "LarkmoorMenuApp/MenuPictures.h"
#include "LarkmoorPlatform/MenuObserver.h"

namespace larkmoor::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Shown = FakeStatusItem::Shown;
using enum StatusIcon;
using std::chrono::seconds;

TEST_F(MenuBarTest, AnswersBecomeRowsAndIcon) {
    struct Case {
        std::string_view name;
        Daemon daemon;
        GatewayResponse health;
        bool journeyVisible;
        std::optional<bool> warranted;
        Words rows;
        Shown icon;
        bool hasDot;
    };
    using enum Daemon;
    const auto text = [](std::string words) { return GatewayResponse{GatewayResponse::Text{std::move(words)}}; };
    const GatewayResponse healthy = text("healthy");
    const Case table[] = {
        {"recording", answers, healthy, false, false, recordingMenu("Recording"), {trailFilled, remembering}, true},
        {"nobody knows of a journey",
         answers,
         healthy,
         false,
         {},
         recordingMenu("Recording"),
         {trailFilled, remembering},
         true},
        {"paused",
         answers,
         text("paused (resumes 14:30)"),
         false,
         false,
         pausedMenu("Resume Recording (auto 14:30)"),
         {trailFilled, remembering},
         true},
        {"stopped",
         answers,
         text("stopped"),
         false,
         false,
         pausedMenu("Start Recording"),
         {trailFilled, remembering},
         true},
        {"the daemon's own words",
         answers,
         text("healthy "),
         false,
         false,
         recordingMenu("healthy "),
         {attention, attentionLabel},
         false},
        {"a failure without fault",
         answers,
         GatewayResponse::Failure{"no room"},
         false,
         false,
         recordingMenu("no room"),
         {attention, attentionLabel},
         false},
        {"a strange answer",
         answers,
         GatewayResponse::Ok{},
         false,
         {},
         recordingMenu("Larkmoor sent an answer we couldn't read"),
         {attention, attentionLabel},
         false},
        {"absent",
         gone,
         healthy,
         false,
         false,
         recordingMenu(absentLine),
         {attention, "Larkmoor — not running"},
         false},
        {"refused", refuses, healthy, false, false, recordingMenu(refusedLine), {attention, attentionLabel}, false},
        {"silent", silent, healthy, false, {}, recordingMenu(silentLine), {attention, attentionLabel}, false},
        {"skew", ofTwo, healthy, false, false, recordingMenu(skewLine), {attention, attentionLabel}, false},
        {"setup: recording", answers, healthy, false, true, setupMenu("Recording"), {trailFilled, remembering}, true},
        {"setup: paused",
         answers,
         text("stopped"),
         true,
         {},
         {header, "Finish setting up Larkmoor…", "Start Recording", "Quit"},
         {trailFilled, remembering},
         true},
        {"setup: absent while owed",
         gone,
         healthy,
         false,
         true,
         setupMenu(absentLine),
         {trailFilled, remembering},
         false},
        {"setup: absent while visible",
         gone,
         healthy,
         true,
         false,
         setupMenu(absentLine),
         {trailFilled, remembering},
         false},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        daemon = answers;
        health = healthy;
        warranted = false;
        launch();
        daemon = row.daemon;
        health = row.health;
        warranted = row.warranted;
        if (daemon != answers) endDaemon();
        tellJourney(row.journeyVisible ? "1" : "0");
        EXPECT_EQ(visible(), row.rows);
        EXPECT_EQ(item->shown.back(), row.icon);
        EXPECT_EQ(menu->rows().statusLine->image() == RowImage{RowImages::RecordingDot{}}, row.hasDot);
        EXPECT_EQ(menu->setupMode(), row.journeyVisible || row.warranted == true);

        // And back, whatever it was.
        daemon = answers;
        health = healthy;
        warranted = false;
        endDaemon();
        tellJourney("0");
        EXPECT_EQ(visible(), recordingMenu("Recording"));
        EXPECT_EQ(item->shown.back(), (Shown{trailFilled, remembering}));
    }
}

TEST_F(MenuBarTest, OnlyTheTextOneMeansThatTheJourneyIsVisible) {
    launch();
    for (const auto& object : {std::optional<std::string>{"0"}, std::optional<std::string>{"true"},
                               std::optional<std::string>{"1 "}, std::optional<std::string>{}}) {
        tellJourney("1");
        EXPECT_TRUE(menu->setupMode());
        tellJourney(object);
        EXPECT_FALSE(menu->setupMode()) << object.value_or("none");
    }
    asked.clear();
    tellJourney("1");
    EXPECT_THAT(asked, ElementsAre("health", "front state")) << "a pass follows";
}

TEST_F(MenuBarTest, TheEndOfTheJourneyShowsWhatWasKnownLast) {
    launch();
    for (const auto& [word, rows] :
         {std::pair{"stopped", pausedMenu("Start Recording")}, std::pair{"healthy", recordingMenu("Recording")}}) {
        health = GatewayResponse::Text{word};
        daemon = Daemon::answers;
        tellJourney("1");
        daemon = Daemon::silent;
        tellJourney("0");
        EXPECT_EQ(visible(), rows) << "before the daemon answers";
        daemon = Daemon::answers;
        door.answer(door.sent().size() - 1, replyOf(health));
        settle();
        EXPECT_EQ(visible(), rows);
    }
}

TEST_F(MenuBarTest, TheBeginningOfTheJourneyLeavesItsRowsAloneUntilThePass) {
    launch();
    daemon = Daemon::silent;
    tellJourney("1");
    EXPECT_EQ(visible(), (Words{header, "Finish setting up Larkmoor…", "Quit"}));
    daemon = Daemon::answers;
    door.answer(door.sent().size() - 1, replyOf(health));
    settle();
    EXPECT_EQ(visible(), setupMenu("Recording"));
}

TEST_F(MenuBarTest, AnOldTimeIsNotToldAgain) {
    launch();
    const MenuRow& row = *menu->rows().resumeRow;
    for (const auto& [word, title] :
         {std::pair{"paused (resumes 14:30)", "Resume Recording (auto 14:30)"}, std::pair{"healthy", "Start Recording"},
          std::pair{"paused (resumes 15:00)", "Resume Recording (auto 15:00)"},
          std::pair{"the disk is full", "Start Recording"}}) {
        health = GatewayResponse::Text{word};
        refresh();
        EXPECT_EQ(row.title(), title) << word;
    }
}

TEST_F(MenuBarTest, TheRecorderDecidesTheTrail) {
    struct Case {
        GatewayResponse answer;
        Shown icon;
    };
    using State = GatewayResponse::FrontState;
    launch();
    for (const Case& row :
         {Case{State{FrontRecording::titleOnly},
               {trailHollow, "Larkmoor — keeping only this window's title, not the screen"}},
          Case{GatewayResponse::Failure{"?"}, {trailFilled, remembering}},
          Case{State{FrontRecording::blocked}, {trailHollow, "Larkmoor — not recording this (private or blocked)"}},
          Case{State{FrontRecording::unknown},
               {trailHollow, "Larkmoor — not recording this (can't tell if it's private)"}},
          Case{GatewayResponse::Ok{}, {trailFilled, remembering}},
          Case{State{FrontRecording::none}, {trailHollow, "Larkmoor — not recording right now"}},
          Case{State{FrontRecording::full}, {trailFilled, remembering}}}) {
        front = row.answer;
        refresh();
        EXPECT_EQ(item->shown.back(), row.icon);
    }
}

TEST_F(MenuBarTest, TheRecorderIsNotAskedDuringAnAlert) {
    front = GatewayResponse::FrontState{FrontRecording::blocked};
    launch();
    asked.clear();
    health = GatewayResponse::Text{"the disk is full"};
    refresh();
    EXPECT_THAT(asked, ElementsAre("health"));
    EXPECT_EQ(item->shown.back(), (Shown{attention, attentionLabel}));
    // What it said last is kept under the sign; setup knows no alarm, and asks again.
    asked.clear();
    tellJourney("1");
    EXPECT_THAT(asked, ElementsAre("health", "front state"));
    EXPECT_EQ(item->shown.back().icon, trailHollow);
}

TEST_F(MenuBarTest, EventsRedrawBetweenPasses) {
    launch();
    asked.clear();
    door.push(1, eventOf(R"({"frontState":{"_0":"none"}})"));
    settle();
    EXPECT_EQ(item->shown.back(), (Shown{trailHollow, "Larkmoor — not recording right now"}));
    EXPECT_THAT(asked, IsEmpty());
    health = GatewayResponse::Text{"the disk is full"};
    refresh();
    door.push(1, eventOf(R"({"frontState":{"_0":"full"}})"));
    settle();
    EXPECT_EQ(item->shown.back(), (Shown{attention, attentionLabel})) << "an alert stays";
}

TEST_F(MenuBarTest, PassesNeverOverlapAndAreNotQueued) {
    launch();
    asked.clear();
    spawn(loop, std::weak_ptr{menu}, &MenuBar::refresh);
    refresh();
    EXPECT_THAT(asked, ElementsAre("health", "front state"));
    asked.clear();
    daemon = Daemon::silent;
    for (int time = 0; time < 5; ++time) tick();
    EXPECT_THAT(asked, ElementsAre("health"));
    daemon = Daemon::answers;
    door.answer(door.sent().size() - 1, replyOf(GatewayResponse::Text{"stopped"}));
    settle();
    EXPECT_EQ(visible(), pausedMenu("Start Recording"));
    EXPECT_THAT(asked, ElementsAre("health", "front state"));
}

TEST_F(MenuBarTest, AnErrorThatNobodyExpectedEndsOnePassOnly) {
    launch();
    duties.journeyWarranted = []() -> Task<std::optional<bool>> { throw std::runtime_error{"no memory"}; };
    launch();
    asked.clear();
    refresh();
    refresh();
    EXPECT_THAT(asked, ElementsAre("health", "health"));
}

TEST_F(MenuBarTest, APassThatFindsNothingNewTouchesNoRow) {
    struct Counter : MenuObserver {
        void rowChanged(const MenuRow& row) override { changed.push_back(row.title()); }
        Words changed;
    } counter;
    for (const char* word : {"healthy", "stopped", "the disk is full"}) {
        health = GatewayResponse::Text{word};
        launch();
        item->menu->setObserver(&counter);
        tick();
        open();
        EXPECT_TRUE(timers.fire(MenuBar::tickerInterval));
        close();
        EXPECT_THAT(counter.changed, IsEmpty()) << word;
    }
}

TEST_F(MenuBarTest, ARefusalIsWrittenDownAfterFortyFiveSeconds) {
    launch();
    struct Step {
        int at;
        Daemon daemon;
        std::size_t lines;
    };
    using enum Daemon;
    endDaemon();
    for (const Step& step : {Step{0, refuses, 0}, Step{44, refuses, 0}, Step{45, refuses, 1}, Step{99, refuses, 1},
                             Step{100, silent, 1}, Step{110, refuses, 1}, Step{154, refuses, 1}, Step{155, refuses, 2},
                             Step{160, answers, 2}, Step{170, refuses, 2}, Step{300, refuses, 3}}) {
        daemon = step.daemon;
        now = MenuPlatform::Time{seconds{step.at}};
        endDaemon();
        refresh();
        EXPECT_EQ(log.size(), step.lines) << step.at;
    }
    EXPECT_EQ(log.front(),
              "[larkmoor-menu] the daemon has been up and refusing this connection for 45s — it is judging this "
              "process's code identity, which no reconnect can change. This menu must be restarted to talk to it again "
              "(m:227).");
}

}  // namespace
}  // namespace larkmoor::testing
