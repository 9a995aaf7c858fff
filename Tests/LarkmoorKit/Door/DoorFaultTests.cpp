// The words for each fault, to the letter, and when a refusal is written down.
#include "LarkmoorKit/Door/DoorFault.h"

#include "LarkmoorKit/Door/DoorRedial.h"
#include "LarkmoorKit/Door/RefusalNotice.h"
#include "LarkmoorKit/Menu/RefusalRun.h"

namespace larkmoor {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(DoorFault, SpeaksToTheLetter) {
    struct Case {
        DoorFault fault;
        std::string_view raw, message, production, dev;
        bool isTerminal;
    };
    constexpr std::string_view absent = "Larkmoor isn't running — start it to access your memory.";
    constexpr std::string_view refused =
        "Larkmoor is running but refused this connection — this binary isn't signed with the daemon's expected "
        "identity (sign it: Scripts/sign.sh).";
    constexpr std::string_view silent =
        "Larkmoor is running but did not answer in 3s — it may be busy starting up; try again in a moment.";
    constexpr std::string_view skewLine = "Larkmoor is finishing an update — this window will reconnect by itself.";
    const Case table[] = {
        {DoorFault::absent, "absent", absent, absent, absent, false},
        {DoorFault::refused, "refused", refused, "Larkmoor is running but this menu needs a restart to reconnect.",
         refused, true},
        {DoorFault::silent, "silent", silent, silent, silent, false},
        {DoorFault::skew, "skew",
         "Larkmoor updated; this session's bridge is older than the daemon, restart the session", skewLine, skewLine,
         false},
    };
    for (const Case& row : table) {
        EXPECT_EQ(rawText(row.fault), row.raw);
        EXPECT_EQ(message(row.fault), row.message);
        EXPECT_EQ(menuLine(row.fault, ClientProfile::production), row.production);
        EXPECT_EQ(menuLine(row.fault, ClientProfile::dev), row.dev);
        EXPECT_EQ(isTerminalForThisProcess(row.fault), row.isTerminal) << row.raw;
    }
}

TEST(DoorFault, AfterTwoFailuresTheNameDecides) {
    EXPECT_EQ(forDoubleFailure(true), DoorFault::refused);
    EXPECT_EQ(forDoubleFailure(false), DoorFault::absent);
}

TEST(DoorRedial, CountsWholeSecondsAndOneAtLeast) {
    EXPECT_EQ(DoorRedial::standard.budget, seconds{3});
    EXPECT_EQ(DoorRedial::standard.pause, milliseconds{100});
    struct Case {
        std::chrono::nanoseconds budget;
        std::int64_t seconds;
    };
    for (const Case& row : {Case{seconds{3}, 3}, Case{milliseconds{3999}, 3}, Case{milliseconds{999}, 1},
                            Case{seconds{0}, 1}, Case{seconds{-5}, 1}})
        EXPECT_EQ((DoorRedial{.budget = row.budget, .pause = {}}.budgetSeconds()), row.seconds);
}

TEST(RefusalNotice, IsDueAtTheEndOfTheWindowAndOnce) {
    using RefusalNotice::Action;
    struct Case {
        std::optional<DoorFault> fault;
        std::optional<std::chrono::duration<double>> refusedFor;
        bool alreadyReported;
        Action action;
    };
    const Case table[] = {
        {DoorFault::refused, milliseconds{44999}, false, Action::wait},
        {DoorFault::refused, seconds{45}, false, Action::report},
        {DoorFault::refused, seconds{3600}, false, Action::report},
        {DoorFault::refused, seconds{45}, true, Action::wait},
        {DoorFault::refused, std::nullopt, false, Action::wait},
        {DoorFault::absent, seconds{45}, false, Action::wait},
        {DoorFault::silent, seconds{45}, false, Action::wait},
        {DoorFault::skew, seconds{45}, false, Action::wait},
        {std::nullopt, seconds{45}, false, Action::wait},
    };
    for (const Case& row : table)
        EXPECT_EQ(RefusalNotice::decide(row.fault, row.refusedFor, row.alreadyReported), row.action) << (&row - table);
}

TEST(RefusalRun, AnyOtherAnswerStartsItOver) {
    EXPECT_EQ(RefusalRun::line,
              "[larkmoor-menu] the daemon has been up and refusing this connection for 45s — it is judging this "
              "process's code identity, which no reconnect can change. This menu must be restarted to talk to it again "
              "(m:227).");
    struct Step {
        int at;
        std::optional<DoorFault> fault;
        bool isDue;
    };
    const auto refused = DoorFault::refused;
    const Step steps[] = {
        {0, refused, false},
        {44, refused, false},
        {45, refused, true},
        {90, refused, false},
        {91, DoorFault::silent, false},
        {92, refused, false},
        {136, refused, false},
        {137, refused, true},
        {138, std::nullopt, false},
        {139, refused, false},
        {170, DoorFault::absent, false},
        {183, refused, false},
        {184, refused, false},
        {228, refused, true},
        {1000, refused, false},
    };
    RefusalRun run;
    for (const Step& step : steps)
        EXPECT_EQ(run.note(step.fault, RefusalRun::Time{seconds{step.at}}), step.isDue) << step.at;
}

}  // namespace
}  // namespace larkmoor
