// What the menu says: health, labels, titles, modes, and what the log hears of a click.
#include "LarkmoorKit/Menu/MenuHeaderTitle.h"
#include "LarkmoorKit/Menu/MenuHealth.h"
#include "LarkmoorKit/Menu/MenuLabels.h"
#include "LarkmoorKit/Menu/MenuMode.h"
#include "LarkmoorKit/Menu/OutcomeNote.h"

namespace larkmoor {
namespace {

TEST(MenuHealth, ReadsTheAnswer) {
    using Paused = MenuHealth::Paused;
    using Attention = MenuHealth::Attention;
    struct Case {
        GatewayResponse answer;
        MenuHealth health;
    };
    const auto text = [](std::string words) { return GatewayResponse{GatewayResponse::Text{std::move(words)}}; };
    const MenuHealth unread = Attention{"Larkmoor sent an answer we couldn't read"};
    const Case table[] = {
        {text("healthy"), MenuHealth::Recording{}},
        {text("healthy "), Attention{"healthy "}},
        {text("Healthy"), Attention{"Healthy"}},
        {text(""), Attention{""}},
        {text("the disk is nearly full"), Attention{"the disk is nearly full"}},
        {text("stopped"), Paused{}},
        {text("recording is stopped for now"), Paused{}},
        {text("paused"), Paused{}},
        {text("paused (resumes 14:30)"), Paused{"14:30"}},
        {text("stopped, resumes tomorrow"), Paused{"tomorrow"}},
        {text("paused (resumes )"), Paused{}},
        {text("paused (resumes "), Paused{}},
        {text("paused (resumes 9:00) (resumes 10:00)"), Paused{"9:00"}},
        {text("resumes 14:30"), Attention{"resumes 14:30"}},
        {GatewayResponse::Ok{}, unread},
        {GatewayResponse::Flag{true}, unread},
        {GatewayResponse::Unimplemented{"health"}, unread},
        {GatewayResponse::Failure{"no room"}, Attention{"no room"}},
    };
    for (const Case& row : table) {
        EXPECT_EQ(MenuHealth::decide(row.answer, std::nullopt, ClientProfile::production), row.health)
            << (&row - table);
    }
}

TEST(MenuHealth, AFaultSpeaksForAFailureAndForNothingElse) {
    const GatewayResponse failure = GatewayResponse::Failure{"words of the door"};
    for (const DoorFault fault : {DoorFault::absent, DoorFault::refused, DoorFault::silent, DoorFault::skew}) {
        for (const ClientProfile profile : {ClientProfile::dev, ClientProfile::production}) {
            EXPECT_EQ(MenuHealth::decide(failure, fault, profile),
                      MenuHealth{MenuHealth::Attention{menuLine(fault, profile)}});
        }
        EXPECT_EQ(MenuHealth::decide(GatewayResponse::Text{"healthy"}, fault, ClientProfile::production),
                  MenuHealth{MenuHealth::Recording{}});
    }
    EXPECT_TRUE(MenuHealth{MenuHealth::Attention{}}.isAlert());
    EXPECT_FALSE(MenuHealth{MenuHealth::Attention{}}.isPaused());
    EXPECT_TRUE(MenuHealth{MenuHealth::Paused{}}.isPaused());
    EXPECT_FALSE(MenuHealth{MenuHealth::Paused{}}.isAlert());
}

TEST(MenuLabels, NameTheIcon) {
    EXPECT_EQ(MenuLabels::trail(FrontRecording::full), "Larkmoor — remembering this screen");
    struct Case {
        FrontRecording front;
        std::string_view label;
    };
    for (const Case& row :
         {Case{FrontRecording::titleOnly, "Larkmoor — keeping only this window's title, not the screen"},
          Case{FrontRecording::blocked, "Larkmoor — not recording this (private or blocked)"},
          Case{FrontRecording::unknown, "Larkmoor — not recording this (can't tell if it's private)"},
          Case{FrontRecording::none, "Larkmoor — not recording right now"}}) {
        EXPECT_EQ(MenuLabels::trail(row.front), row.label);
        EXPECT_EQ(MenuLabels::notKeptLabel(row.front), row.label);
    }
    EXPECT_EQ(MenuLabels::attention(DoorFault::absent), "Larkmoor — not running");
    for (const auto fault : {std::optional{DoorFault::refused}, std::optional{DoorFault::silent},
                             std::optional{DoorFault::skew}, std::optional<DoorFault>{}})
        EXPECT_EQ(MenuLabels::attention(fault), "Larkmoor — attention");
    EXPECT_EQ(MenuLabels::resumeTitle("14:30"), "Resume Recording (auto 14:30)");
    EXPECT_EQ(MenuLabels::resumeTitle(std::nullopt), "Start Recording");
}

TEST(MenuHeaderTitle, HasAMarkForWhatNobodyKnows) {
    EXPECT_EQ(MenuHeaderTitle::title("Larkmoor", "2.1", "340"), "Larkmoor (v2.1 · build 340)");
    EXPECT_EQ(MenuHeaderTitle::title("Larkmoor", std::nullopt, std::nullopt), "Larkmoor (v? · build ?)");
}

TEST(MenuMode, TheJourneyOnTheScreenComesFirst) {
    struct Case {
        bool visible;
        std::optional<bool> warranted;
        bool setup;
    };
    for (const Case& row : {Case{false, std::nullopt, false}, Case{false, false, false}, Case{false, true, true},
                            Case{true, std::nullopt, true}, Case{true, false, true}, Case{true, true, true}}) {
        EXPECT_EQ(MenuMode::wantsSetup(row.visible, row.warranted), row.setup);
        EXPECT_EQ(MenuMode::showsAlert(row.visible, row.warranted), !row.setup);
    }
}

TEST(OutcomeNote, IsForWhatWasNotDone) {
    EXPECT_EQ(outcomeNote("pause", GatewayResponse::Ok{}), std::nullopt);
    EXPECT_EQ(outcomeNote("pause_for", GatewayResponse::Unimplemented{"pauseFor"}),
              "pause_for refused — this daemon does not accept pauseFor");
    EXPECT_EQ(outcomeNote("resume", GatewayResponse::Failure{"no microphone"}), "resume refused — no microphone");
    EXPECT_EQ(outcomeNote("pause", GatewayResponse::Text{"ok"}), "pause answered with an unexpected reply shape");
}

}  // namespace
}  // namespace larkmoor
