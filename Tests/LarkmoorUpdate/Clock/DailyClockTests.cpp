#include "LarkmoorUpdate/Clock/DailyClock.h"
#include "LarkmoorUpdate/Clock/TestLane.h"
#include "Support/FakeDefaults.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using namespace DailyClock;
using State = UpdateMenuLine::State;

TEST(DailyClock, FirstDelay) {
    constexpr Date now{1'000'000h};
    struct Case {
        std::optional<Date> lastCheck;
        Duration delay;
    };
    for (const auto& [lastCheck, delay] :
         {Case{std::nullopt, 0s}, Case{now - 1h, 23h}, Case{now - 24h, 0s}, Case{now - 24h + 1ms, 1ms},
          Case{now - 1000h, 0s}, Case{now, 24h}, Case{now + 1h, 24h}, Case{Date::min(), 0s}, Case{Date::max(), 24h}}) {
        EXPECT_EQ(firstDelay(lastCheck, now, 24h), delay);
    }
}

TEST(DailyClock, StandsDownAndSaysWhy) {
    constexpr std::string_view asks = "fired (every 60s) · rebuilding, then asking";
    constexpr std::string_view downloads = "stood down (every 60s) · an update is downloading";
    constexpr std::string_view waits = "stood down (every 60s) · an update is waiting for a call to end";
    constexpr std::string_view clicked = "stood down (every 60s) · a menu click is still owed an answer";
    struct Case {
        std::optional<State> row;
        std::string_view alone;
    };
    for (const auto& [row, alone] :
         {Case{std::nullopt, asks}, Case{State::Downloading{"2"}, downloads}, Case{State::Unpacking{"2"}, downloads},
          Case{State::AfterCall{"2"}, waits}, Case{State::OnQuit{"2"}, asks}}) {
        for (const bool bits : {false, true}) {
            for (const bool click : {false, true}) {
                const auto words = click ? clicked : bits ? downloads : alone;
                EXPECT_EQ(tickLine(standDown(bits, click, row), 60s), "daily check: tick " + std::string{words});
                EXPECT_EQ(onTick(bits, click, row), words == asks ? Tick::rebuildThenCheck : Tick::leaveItAlone);
            }
        }
    }
}

TEST(TestLane, IsArmedByAYesOfAnyType) {
    struct Case {
        TestLane::DefaultsValue value;
        bool armed;
    };
    for (const auto& [value, armed] :
         {Case{std::nullopt, false}, Case{true, true}, Case{false, false}, Case{"1", true}, Case{"TRUE", true},
          Case{"Yes", true}, Case{"y", true}, Case{"oN", true}, Case{"no", false}, Case{"0", false}, Case{"", false},
          Case{" yes", false}, Case{"2", false}}) {
        testing::FakeDefaults defaults;
        if (value && value->index() == 0) defaults.flags[TestLane::defaultsKey] = std::get<bool>(*value);
        if (value && value->index() == 1) defaults.strings[TestLane::defaultsKey] = std::get<std::string>(*value);
        EXPECT_EQ(TestLane::cadence(TestLane::defaultsValue(defaults)), armed ? 60s : 86400s);
    }
}

}  // namespace
}  // namespace larkmoor
