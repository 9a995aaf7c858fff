// The words for each fault, to the letter.
#include "LarkmoorKit/Door/DoorFault.h"

#include "LarkmoorKit/Door/DoorRedial.h"

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

}  // namespace
}  // namespace larkmoor
