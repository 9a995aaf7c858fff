#include "LarkmoorUpdate/Clock/UpdateCadence.h"
#include "LarkmoorUpdate/Meeting/MeetingGuard.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using Instant = MeetingDeferral::Instant;
using Wait = MeetingGuard::Verdict::Wait;
using enum MeetingReading;

constexpr Instant noon{12h};

TEST(MeetingGuard, WaitsUntilACallHasBeenOverForTwoMinutes) {
    struct Case {
        MeetingReading reading;
        MeetingDeferral before;
        int wait;  ///< seconds; 0 installs
        MeetingDeferral after;
    };
    for (const auto& [reading, before, wait, after] : {
             Case{live, {}, 120, {true}},
             Case{live, {true}, 120, {true}},
             Case{live, {true, noon - 119s}, 120, {true}},
             Case{live, {true, noon - 500s}, 120, {true}},
             Case{clear, {}, 0, {}},
             Case{clear, {false, noon}, 0, {}},
             Case{clear, {true}, 120, {true, noon}},
             Case{clear, {true, noon}, 120, {true, noon}},
             Case{clear, {true, noon - 800ms}, 120, {true, noon - 800ms}},
             Case{clear, {true, noon - 1s}, 119, {true, noon - 1s}},
             Case{clear, {true, noon - 119999ms}, 1, {true, noon - 119999ms}},
             Case{clear, {true, noon - 120s}, 0, {}},
             Case{clear, {true, noon - 9h}, 0, {}},
         }) {
        MeetingDeferral deferral = before;
        const auto verdict = MeetingGuard::decide(reading, deferral, noon);
        EXPECT_EQ(verdict, wait > 0 ? MeetingGuard::Verdict{Wait{wait}} : MeetingGuard::Verdict::Install{});
        EXPECT_EQ(deferral, after);
    }
}

TEST(DeferralTermination, TheCapFirstThenSilence) {
    using Verdict = DeferralTermination::Verdict;
    struct Case {
        bool answered;
        int silentPolls;
        std::optional<DeferralTermination::Duration> heldFor;
        Verdict verdict;
    };
    for (const auto& [answered, silentPolls, heldFor, verdict] : {
             Case{true, 0, 0s, Verdict::Proceed{}},
             Case{true, 0, 1800s - 1ms, Verdict::Proceed{}},
             Case{true, 0, 1800s, Verdict::GiveUp{1800s}},
             Case{false, 1, 2000s, Verdict::GiveUp{2000s}},
             Case{true, 9, std::nullopt, Verdict::Proceed{}},
             Case{false, 1, std::nullopt, Verdict::HoldForSilence{1, 4}},
             Case{false, 3, 1799s, Verdict::HoldForSilence{3, 4}},
             Case{false, 4, 1799s, Verdict::Proceed{}},
         }) {
        EXPECT_EQ(DeferralTermination::decide(answered, silentPolls, heldFor, UpdateCadence::maxDeferral,
                                              UpdateCadence::silentPollsBeforeHealing),
                  verdict);
    }
}

}  // namespace
}  // namespace larkmoor
