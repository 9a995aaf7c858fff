// A day of the menu: every half minute of it, through all that a daemon can do.
#include "LarkmoorMenuApp/MenuBarFixture.h"
#include "LarkmoorMenuApp/MenuPictures.h"

namespace larkmoor::testing {
namespace {

using Shown = FakeStatusItem::Shown;
using enum StatusIcon;

TEST_F(MenuBarTest, ADay) {
    struct Phase {
        int ticks;
        Daemon daemon;
        std::string health;
        FrontRecording front;
        bool journeyVisible;
        Words rows;
        Shown icon;
        std::size_t lines;  // of refusals, by the end
    };
    using enum Daemon;
    using enum FrontRecording;
    const std::string ok = "healthy";
    const Shown filled{trailFilled, remembering};
    const Shown alarmed{attention, attentionLabel};
    const Words recording = recordingMenu("Recording");
    const Phase phases[] = {
        {400, answers, ok, full, false, recording, filled, 0},
        {100,
         answers,
         ok,
         blocked,
         false,
         recording,
         {trailHollow, "Larkmoor — not recording this (private or blocked)"},
         0},
        {30, answers, "paused (resumes 9:15)", full, false, pausedMenu("Resume Recording (auto 9:15)"), filled, 0},
        {300, answers, ok, full, false, recording, filled, 0},
        {1, refuses, ok, full, false, recordingMenu(refusedLine), alarmed, 0},
        {1, silent, ok, full, false, recordingMenu(silentLine), alarmed, 0},
        {2, refuses, ok, full, false, recordingMenu(refusedLine), alarmed, 1},
        {40, refuses, ok, full, true, setupMenu(refusedLine), filled, 1},
        {1, silent, ok, full, false, recordingMenu(silentLine), alarmed, 1},
        {2, refuses, ok, full, false, recordingMenu(refusedLine), alarmed, 2},
        {300,
         answers,
         ok,
         titleOnly,
         false,
         recording,
         {trailHollow, "Larkmoor — keeping only this window's title, not the screen"},
         2},
        {60, answers, ok, full, true, setupMenu("Recording"), filled, 2},
        {120,
         answers,
         "stopped",
         none,
         false,
         pausedMenu("Start Recording"),
         {trailHollow, "Larkmoor — not recording right now"},
         2},
        {200, gone, ok, none, false, recordingMenu(absentLine), {attention, "Larkmoor — not running"}, 2},
        {10, ofTwo, ok, full, false, recordingMenu(skewLine), alarmed, 2},
        {1000, answers, ok, full, false, recording, filled, 2},
        {10, answers, "the disk is nearly full", full, false, recordingMenu("the disk is nearly full"), alarmed, 2},
        {303, answers, ok, full, false, recording, filled, 2},
    };
    launch();
    int ticks = 0;
    for (const Phase& phase : phases) {
        daemon = phase.daemon;
        health = GatewayResponse::Text{phase.health};
        front = GatewayResponse::FrontState{phase.front};
        // Each change is a restart of the daemon, where it is slow in the middle of a question.
        tellJourney(phase.journeyVisible ? "1" : "0");
        endDaemon();
        for (int tick = 0; tick < phase.ticks; ++tick, ++ticks) {
            SCOPED_TRACE(fmt::format("tick {} of {}", tick, phase.ticks));
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
            if (daemon == answers) ASSERT_EQ(door.kept(), 2U) << "requests and events, whatever went on";
        }
        EXPECT_EQ(log.size(), phase.lines) << "after tick " << ticks;
    }
    EXPECT_EQ(ticks, 2880);
    EXPECT_EQ(timers.running(), 1U);
}

}  // namespace
}  // namespace larkmoor::testing
