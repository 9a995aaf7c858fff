// How the menu is kept true to the daemon.
#include <stdexcept>

#include "LarkmoorMenuApp/MenuBarFixture.h"
#include "LarkmoorPlatform/MenuObserver.h"

namespace larkmoor::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Shown = FakeStatusItem::Shown;
using enum StatusIcon;
using std::chrono::seconds;

const std::string absentLine = "Larkmoor isn't running — start it to access your memory.";
const std::string refusedLine = "Larkmoor is running but this menu needs a restart to reconnect.";
const std::string silentLine =
    "Larkmoor is running but did not answer in 3s — it may be busy starting up; try again in a moment.";
const std::string skewLine = "Larkmoor is finishing an update — this window will reconnect by itself.";

// What a person sees of the menu: recording or in trouble, paused, during the setup.
constexpr std::string_view header = "Larkmoor (v2.1 · build 340)",
                           pauses = "• Pause 15 minutes | • Pause 1 hour | • Stop";
constexpr std::string_view rest = "Stats | - | Settings | - | Check for Update… | - | Quit";
std::string recordingMenu(std::string_view status) {
    return fmt::format("{} | - | {} | {} | - | {}", header, status, pauses, rest);
}
std::string pausedMenu(std::string_view resume) { return fmt::format("{} | - | {} | - | {}", header, resume, rest); }
std::string setupMenu(const std::string& rows) {
    return fmt::format("{} | Finish setting up Larkmoor…{} | Quit", header, rows.empty() ? "" : " | " + rows);
}
std::string setupWith(std::string_view status) { return setupMenu(fmt::format("{} | {}", status, pauses)); }

const Shown filled{trailFilled, "Larkmoor — remembering this screen"};
const Shown titled{trailHollow, "Larkmoor — keeping only this window's title, not the screen"};
const Shown guarded{trailHollow, "Larkmoor — not recording this (private or blocked)"};
const Shown unsure{trailHollow, "Larkmoor — not recording this (can't tell if it's private)"};
const Shown idle{trailHollow, "Larkmoor — not recording right now"};
const Shown alarmed{attention, "Larkmoor — attention"};
const Shown notRunning{attention, "Larkmoor — not running"};

GatewayResponse text(std::string words) { return GatewayResponse::Text{std::move(words)}; }
GatewayResponse state(FrontRecording recording) { return GatewayResponse::FrontState{recording}; }

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
        health = text(word);
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
    EXPECT_EQ(visible(), setupMenu(""));
    daemon = Daemon::answers;
    door.answer(door.sent().size() - 1, replyOf(health));
    settle();
    EXPECT_EQ(visible(), setupWith("Recording"));
}

TEST_F(MenuBarTest, TheRecorderIsNotAskedDuringAnAlert) {
    front = state(FrontRecording::blocked);
    launch();
    asked.clear();
    health = text("the disk is full");
    refresh();
    EXPECT_THAT(asked, ElementsAre("health"));
    EXPECT_EQ(item->shown.back(), alarmed);
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
    EXPECT_EQ(item->shown.back(), idle);
    EXPECT_THAT(asked, IsEmpty());
    health = text("the disk is full");
    refresh();
    door.push(1, eventOf(R"({"frontState":{"_0":"full"}})"));
    settle();
    EXPECT_EQ(item->shown.back(), alarmed) << "an alert stays";
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
    door.answer(door.sent().size() - 1, replyOf(text("stopped")));
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
        health = text(word);
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

/// A day of the menu: every half minute of it, through all that a daemon can do and say.
TEST_F(MenuBarTest, ADay) {
    struct Phase {
        int ticks;
        Daemon daemon;
        GatewayResponse health, front;
        bool journeyVisible;
        std::optional<bool> warranted;
        std::string rows;
        Shown icon;
        std::size_t lines;  // of refusals, by the end
    };
    using enum Daemon;
    using enum FrontRecording;
    const GatewayResponse ok = text("healthy"), off = text("stopped"), lunch = text("paused (resumes 9:15)");
    const GatewayResponse whole = state(full), failure = GatewayResponse::Failure{"no room"};
    const GatewayResponse strange = GatewayResponse::Ok{};
    const std::string recording = recordingMenu("Recording"), pausing = pausedMenu("Resume Recording (auto 9:15)");
    const std::string stopped = pausedMenu("Start Recording");
    const std::string unread = recordingMenu("Larkmoor sent an answer we couldn't read");
    const std::optional<bool> untold;
    const Phase phases[] = {
        {400, answers, ok, whole, false, false, recording, filled, 0},
        {10, answers, ok, whole, false, untold, recording, filled, 0},
        {100, answers, ok, state(blocked), false, false, recording, guarded, 0},
        {10, answers, ok, failure, false, false, recording, filled, 0},
        {10, answers, ok, state(unknown), false, false, recording, unsure, 0},
        {10, answers, ok, strange, false, false, recording, filled, 0},
        {30, answers, lunch, whole, false, false, pausing, filled, 0},
        {300, answers, ok, whole, false, false, recording, filled, 0},
        {1, refuses, ok, whole, false, false, recordingMenu(refusedLine), alarmed, 0},
        {1, silent, ok, whole, false, untold, recordingMenu(silentLine), alarmed, 0},
        {2, refuses, ok, whole, false, false, recordingMenu(refusedLine), alarmed, 1},
        {40, refuses, ok, whole, true, false, setupWith(refusedLine), filled, 1},
        {1, silent, ok, whole, false, false, recordingMenu(silentLine), alarmed, 1},
        {2, refuses, ok, whole, false, false, recordingMenu(refusedLine), alarmed, 2},
        {300, answers, ok, state(titleOnly), false, false, recording, titled, 2},
        {60, answers, ok, whole, true, false, setupWith("Recording"), filled, 2},
        {10, answers, off, whole, true, untold, setupMenu("Start Recording"), filled, 2},
        {120, answers, off, state(none), false, false, stopped, idle, 2},
        {10, answers, ok, whole, false, true, setupWith("Recording"), filled, 2},
        {20, gone, ok, state(none), false, true, setupWith(absentLine), filled, 2},
        {200, gone, ok, state(none), false, false, recordingMenu(absentLine), notRunning, 2},
        {10, ofTwo, ok, whole, false, false, recordingMenu(skewLine), alarmed, 2},
        {1000, answers, ok, whole, false, false, recording, filled, 2},
        {10, answers, text("the disk is nearly full"), whole, false, false, recordingMenu("the disk is nearly full"),
         alarmed, 2},
        {10, answers, text("healthy "), whole, false, false, recordingMenu("healthy "), alarmed, 2},
        {10, answers, failure, whole, false, false, recordingMenu("no room"), alarmed, 2},
        {10, answers, strange, whole, false, untold, unread, alarmed, 2},
        {193, answers, ok, whole, false, false, recording, filled, 2},
    };
    launch();
    int ticks = 0;
    for (const Phase& phase : phases) {
        daemon = phase.daemon;
        health = phase.health;
        front = phase.front;
        warranted = phase.warranted;
        // Each change is a restart of the daemon, where it is slow in the middle of a question.
        tellJourney(phase.journeyVisible ? "1" : "0");
        endDaemon();
        for (int tick = 0; tick < phase.ticks; ++tick, ++ticks) {
            SCOPED_TRACE(fmt::format("phase {}, tick {}", &phase - phases, tick));
            now += MenuBar::refreshInterval;
            asked.clear();
            const bool opens = ticks % 7 == 0;
            if (opens) item->menu->open();
            ASSERT_TRUE(timers.fire(MenuBar::refreshInterval));
            if (opens) item->menu->close();
            settle();
            ASSERT_LE(std::ranges::count(asked, "health"), 2) << "one pass, in two attempts at most";
            ASSERT_EQ(visible(), phase.rows);
            ASSERT_EQ(item->shown.back(), phase.icon);
            ASSERT_EQ(menu->setupMode(), phase.journeyVisible || phase.warranted == true);
            const MenuRow& status = *menu->rows().statusLine;
            ASSERT_EQ(status.image() == RowImage{RowImages::RecordingDot{}}, status.title() == "Recording");
            if (daemon == answers) ASSERT_EQ(door.kept(), 2U) << "requests and events, whatever went on";
        }
        EXPECT_EQ(log.size(), phase.lines) << "after tick " << ticks;
    }
    EXPECT_EQ(ticks, 2880);
    EXPECT_EQ(timers.running(), 1U);
}

}  // namespace
}  // namespace larkmoor::testing
