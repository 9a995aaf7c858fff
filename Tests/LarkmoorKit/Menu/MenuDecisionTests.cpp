// What the menu reads in a health answer, and its first row.
#include "LarkmoorKit/Menu/MenuHealth.h"
#include "LarkmoorKit/Menu/MenuLabels.h"

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
        {GatewayResponse::Unimplemented{"health"}, unread},
        {GatewayResponse::Failure{"no room"}, Attention{"no room"}},
    };
    for (const Case& row : table) {
        EXPECT_EQ(MenuHealth::decide(row.answer, std::nullopt, ClientProfile::production), row.health)
            << (&row - table);
    }
}

TEST(MenuHeaderTitle, HasAMarkForWhatNobodyKnows) {
    EXPECT_EQ(MenuHeaderTitle::title("Larkmoor", "2.1", "340"), "Larkmoor (v2.1 · build 340)");
    EXPECT_EQ(MenuHeaderTitle::title("Larkmoor", std::nullopt, std::nullopt), "Larkmoor (v? · build ?)");
}

}  // namespace
}  // namespace larkmoor
