// The menu follows the daemon: what every state shows, whatever state came before it.
#include "LarkmoorMenuApp/MenuBarFixture.h"

namespace larkmoor::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Shown = FakeStatusItem::Shown;
using enum StatusIcon;
using enum FrontRecording;
using std::chrono::seconds;

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

/// Everything that a menu can be in, entered from everything else and from itself.
TEST_F(MenuBarTest, EveryStateShowsTheSameAfterEveryOther) {
    struct State {
        std::string_view name;
        Daemon daemon;
        GatewayResponse health, front;
        std::string rows;
        Shown icon;
        bool journeyVisible = false;
        std::optional<bool> warranted = false;
    };
    using enum Daemon;
    const GatewayResponse ok = text("healthy"), off = text("stopped"), whole = state(full);
    const GatewayResponse failure = GatewayResponse::Failure{"no room"}, strange = GatewayResponse::Ok{};
    const std::string recording = recordingMenu("Recording");
    const std::string absentLine = "Larkmoor isn't running — start it to access your memory.";
    const std::string refusedLine = "Larkmoor is running but this menu needs a restart to reconnect.";
    const std::string silentLine =
        "Larkmoor is running but did not answer in 3s — it may be busy starting up; try again in a moment.";
    const std::string skewLine = "Larkmoor is finishing an update — this window will reconnect by itself.";
    const State states[] = {
        {"recording", answers, ok, whole, recording, filled, false, std::nullopt},
        {"title only", answers, ok, state(titleOnly), recording, titled},
        {"blocked", answers, ok, state(blocked), recording, guarded},
        {"cannot tell", answers, ok, state(unknown), recording, unsure},
        {"the recorder fails", answers, ok, failure, recording, filled},
        {"the recorder answers something else", answers, ok, strange, recording, filled},
        {"paused until 9:15", answers, text("paused (resumes 9:15)"), whole, pausedMenu("Resume Recording (auto 9:15)"),
         filled},
        {"paused until 10:00", answers, text("paused (resumes 10:00)"), whole,
         pausedMenu("Resume Recording (auto 10:00)"), filled},
        {"stopped", answers, off, state(none), pausedMenu("Start Recording"), idle},
        {"a word", answers, text("the disk is full"), whole, recordingMenu("the disk is full"), alarmed},
        {"a failure", answers, failure, whole, recordingMenu("no room"), alarmed, false, std::nullopt},
        {"unreadable", answers, strange, whole, recordingMenu("Larkmoor sent an answer we couldn't read"), alarmed},
        {"gone", gone, ok, whole, recordingMenu(absentLine), notRunning},
        {"refuses", refuses, ok, whole, recordingMenu(refusedLine), alarmed},
        {"silent", silent, ok, whole, recordingMenu(silentLine), alarmed, false, std::nullopt},
        {"another contract", ofTwo, ok, whole, recordingMenu(skewLine), alarmed},
        {"journey", answers, ok, whole, setupWith("Recording"), filled, true},
        {"journey, stopped", answers, off, whole, setupMenu("Start Recording"), filled, true, std::nullopt},
        {"journey, gone", gone, ok, whole, setupWith(absentLine), filled, true},
        {"journey owed", answers, ok, state(blocked), setupWith("Recording"), guarded, false, true},
        {"journey owed, silent", silent, ok, whole, setupWith(silentLine), filled, false, true},
    };
    struct Counter : MenuObserver {
        void rowChanged(const MenuRow& row) override { changed.push_back(row.title()); }
        Words changed;
    } counter;
    launch();
    const State* before = &states[0];
    const std::vector<std::optional<std::string>> notVisible{"0", "true", "1 ", std::nullopt};
    std::size_t entered = 0;
    const auto enter = [&](const State& next) {
        SCOPED_TRACE(fmt::format("{}, then {}", std::exchange(before, &next)->name, next.name));
        daemon = next.daemon;
        health = next.health;
        front = next.front;
        warranted = next.warranted;
        tellJourney(next.journeyVisible ? "1" : notVisible[++entered % 4]);
        endDaemon();
        asked.clear();
        tick();
        EXPECT_LE(std::ranges::count(asked, "health"), 2) << "one pass, in two attempts at most";
        EXPECT_EQ(std::ranges::count(asked, "front state"), daemon == answers && next.icon.first != attention)
            << "the recorder is not asked during an alert";
        EXPECT_EQ(visible(), next.rows);
        EXPECT_EQ(item->shown.back(), next.icon);
        EXPECT_EQ(menu->setupMode(), next.journeyVisible || next.warranted == true);
        const MenuRow& status = *menu->rows().statusLine;
        if (!status.hidden()) {
            EXPECT_EQ(status.image() == RowImage{RowImages::RecordingDot{}}, status.title() == "Recording");
        }
        if (daemon == answers) {
            EXPECT_EQ(door.kept(), 2U) << "requests and events, whatever went on";
        }
        item->menu->setObserver(&counter);
        open();
        tick();
        close();
        EXPECT_THAT(counter.changed, IsEmpty()) << "a pass that finds nothing new";
        item->menu->setObserver(nullptr);
    };
    for (const State& one : states) {
        for (const State* other = &one; other != std::end(states); ++other) {
            enter(one);
            enter(*other);
        }
        enter(one);
    }
    EXPECT_EQ(timers.alive(), 1);
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(MenuBarTest, TheDaemonsWordIsAStateOrASentence) {
    launch();
    const std::string stopped = pausedMenu("Start Recording");
    const std::pair<std::string, std::string> words[] = {
        {"healthy ", recordingMenu("healthy ")},
        {"", recordingMenu("")},
        {"recording is stopped for now", stopped},
        {"paused (resumes )", stopped},
        {"stopped, resumes tomorrow", pausedMenu("Resume Recording (auto tomorrow)")},
        {"paused (resumes 9:00) (resumes 10:00)", pausedMenu("Resume Recording (auto 9:00)")},
        {"resumes 14:30", recordingMenu("resumes 14:30")}};
    for (const auto& [word, rows] : words) {
        health = text(word);
        tick();
        EXPECT_EQ(visible(), rows);
    }
}

TEST_F(MenuBarTest, ADaemonThatNeverAnswersStopsNothingElse) {
    using enum Daemon;
    runSettings();
    warranted = true;
    launch();
    EXPECT_THAT(panes(), ElementsAre("onboarding"));
    warranted.reset();
    EXPECT_FALSE(menu->applicationShouldHandleReopen());
    settle();
    EXPECT_THAT(panes(), IsEmpty()) << "nobody can say whether the journey is owed";
    for (const bool stopped : {false, true}) {
        const std::string rows = stopped ? pausedMenu("Start Recording") : recordingMenu("Recording");
        const std::string setup = stopped ? setupMenu("Start Recording") : setupWith("Recording");
        health = text(stopped ? "stopped" : "healthy");
        for (const Daemon state : {answers, silent, silent}) {
            daemon = state;
            if (state == answers) endDaemon();
            tick();
            // At once: by the journey's window, and by what the disk says of the journey.
            for (const bool byWindow : {true, false}) {
                for (const bool is : {true, false}) {
                    if (byWindow) tellJourney(is ? "1" : "0");
                    warranted = is && !byWindow;
                    if (!byWindow) tick();
                    EXPECT_EQ(visible(), !is ? rows : state == answers ? setup : setupMenu(""));
                    done.clear();
                    menu->applicationShouldHandleReopen();
                    settle();
                    EXPECT_THAT(done, ElementsAre("release quit"));
                    EXPECT_EQ(panes(), Words{is ? "onboarding" : "settings"});
                }
            }
            done.clear();
            for (const std::string& old : {"com.example.other", "the.old.one"}) {
                applications.running.push_back({9, "/x/old", old});
                tick();
                applications.end(old);
                settle();
            }
            EXPECT_THAT(done, ElementsAre("retire"));
        }
    }
}

TEST_F(MenuBarTest, PassesNeverOverlapAndAreNotQueued) {
    launch();
    asked.clear();
    EXPECT_TRUE(timers.call(MenuBar::refreshInterval));
    tick();
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

TEST_F(MenuBarTest, ADaemonThatArrivesIsAskedAtOnce) {
    daemon = Daemon::gone;
    launch();
    EXPECT_EQ(item->shown.back(), notRunning);
    daemon = Daemon::answers;
    menu->daemonArrived();
    settle();
    EXPECT_EQ(item->shown.back(), filled);
    EXPECT_EQ(door.kept(), 2U) << "and subscribed to";
    // During a pass: one that misses it is repeated, and one that finds it silent would hang.
    const auto knocks = [&] {
        return std::ranges::count_if(door.sent(), [](const FakeDoor::Sent& sent) { return isKnock(sent.message); });
    };
    for (const Daemon state : {Daemon::gone, Daemon::refuses, Daemon::silent}) {
        for (const Daemon first : {Daemon::answers, Daemon::silent}) {
            daemon = first;
            tick();
        }
        menu->daemonArrived();
        daemon = state;
        const auto before = knocks();
        endDaemon();
        EXPECT_EQ(knocks() - before, state == Daemon::silent ? 1 : 2) << "one in each pass";
    }
}

TEST_F(MenuBarTest, AnExceptionEndsOnePassOnly) {
    duties.firstRun.journeyWarranted = []() -> Task<std::optional<bool>> { throw std::runtime_error{"no memory"}; };
    launch();
    asked.clear();
    tick();
    tick();
    EXPECT_THAT(asked, ElementsAre("health", "health"));
}

TEST_F(MenuBarTest, ARefusalIsLoggedAfterFortyFiveSeconds) {
    launch();
    using enum Daemon;
    const std::tuple<int, Daemon, std::size_t> steps[] = {
        {0, refuses, 0},   {44, refuses, 0},  {45, refuses, 1},  {99, refuses, 1},  {100, silent, 1}, {110, refuses, 1},
        {154, refuses, 1}, {155, refuses, 2}, {160, answers, 2}, {170, refuses, 2}, {300, refuses, 3}};
    endDaemon();
    for (const auto& [at, state, lines] : steps) {
        daemon = state;
        now = MenuPlatform::Time{seconds{at}};
        endDaemon();
        tick();
        EXPECT_EQ(log.size(), lines) << at;
    }
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.front(),
              "[larkmoor-menu] the daemon has been up and refusing this connection for 45s — it is judging this "
              "process's code identity, which no reconnect can change. This menu must be restarted to talk to it again "
              "(m:227).");
}

}  // namespace
}  // namespace larkmoor::testing
