// The install gate on a driven clock, with a daemon that answers, is silent or fails.
#include <gmock/gmock.h>

#include <stdexcept>

#include "LarkmoorMenuApp/Update/UpdateInstallGate.h"
#include "Support/DrivenClock.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct FakeReporter final : MeetingReporting {
    enum class Daemon { clear, live, hangs, throws };

    explicit FakeReporter(testing::DrivenClock& ofClock) : clock(ofClock) {}
    Task<MeetingReading> meetingReading() override {
        ++asked;
        const Daemon now = daemon;
        if (now == Daemon::throws) throw std::runtime_error("no daemon");
        co_await clock.delay(now == Daemon::hangs ? 10000h : answersAfter);
        co_return now == Daemon::live ? MeetingReading::live : MeetingReading::clear;
    }

    testing::DrivenClock& clock;
    Daemon daemon = Daemon::clear;
    std::chrono::seconds answersAfter{0};
    int asked = 0;
};

class UpdateInstallGateTest : public ::testing::Test {
  protected:
    using Daemon = FakeReporter::Daemon;

    void hold(const std::string& version = "1.2") {
        gate->hold([this, version] { installed.push_back(version); }, version);
    }
    std::string shown() const {
        const auto line = UpdateMenuLine::line(row);
        return line ? line->title : "";
    }

    static constexpr const char* staged = "update 1.2 is staged — checking whether it is safe to swap";
    static constexpr const char* proceeds = "swap proceeding — handing the bundle to Sparkle now";
    static constexpr const char* afterCall = "1.2 ready, installs after your call";

    testing::DrivenClock clock;
    std::shared_ptr<FakeReporter> reporter = std::make_shared<FakeReporter>(clock);
    std::vector<std::string> lines, notes, installed;
    std::optional<UpdateMenuLine::State> row;
    /// One that knows of no call yet.
    std::shared_ptr<UpdateInstallGate> makeGate() {
        auto made = std::make_shared<UpdateInstallGate>(UpdateInstallGate::Seams{
            .loop = clock.loop(),
            .meeting = reporter,
            .system = [this](const std::string& line) { lines.push_back(line); },
            .note = [this](const std::string& line) { notes.push_back(line); },
            .every = clock.every(),
            .now = [this] { return clock.steady(); },
            .waiting = clock.waiting(),
        });
        made->onRow = [this](const UpdateMenuLine::Event& event) { row = UpdateMenuLine::next(row, event); };
        return made;
    }
    std::shared_ptr<UpdateInstallGate> gate = makeGate();
};

TEST_F(UpdateInstallGateTest, InstallsAtOnceWithoutACall) {
    hold();
    clock.run(0s);
    EXPECT_THAT(installed, ElementsAre("1.2"));
    EXPECT_THAT(lines, ElementsAre(staged, proceeds));
    EXPECT_EQ(clock.timers(), 0u) << "nothing runs at rest";
    EXPECT_FALSE(gate->installNow());
}

TEST_F(UpdateInstallGateTest, WaitsForACallAndTwoMinutesMore) {
    reporter->daemon = Daemon::live;
    hold();
    clock.run(690s);
    EXPECT_EQ(shown(), afterCall);
    reporter->daemon = Daemon::clear;
    clock.run(134s);
    EXPECT_THAT(installed, ElementsAre());
    clock.run(1s);
    EXPECT_THAT(installed, ElementsAre("1.2"));
    EXPECT_EQ(shown(), "");
    const char* reminder = "update swap deferred — a call is live (120s to go)";
    EXPECT_THAT(notes, ElementsAre(reminder, reminder));
    EXPECT_THAT(lines, ElementsAre(staged, reminder, reminder, proceeds));
}

TEST_F(UpdateInstallGateTest, HoldsForHalfAnHourOfCallAtMost) {
    reporter->daemon = Daemon::live;
    hold();
    clock.run(1000s);
    gate->drop();
    clock.run(300s);
    hold();
    // The rebuild of the updater does not begin the wait anew, another version does.
    clock.run(499s);
    EXPECT_THAT(installed, ElementsAre());
    clock.run(16s);
    EXPECT_THAT(installed, ElementsAre("1.2"));
    EXPECT_THAT(lines, ::testing::Contains("this update has been held for 30 minutes — swapping anyway. Being stuck "
                                           "un-updated is worse than a swap at a bad moment (RK 2026-08-28)."));
    hold("1.3");
    clock.run(1799s);
    EXPECT_THAT(installed, ElementsAre("1.2"));
    clock.run(16s);
    EXPECT_THAT(installed, ElementsAre("1.2", "1.3"));
}

TEST_F(UpdateInstallGateTest, ASilentDaemonHoldsForFourPolls) {
    for (const Daemon silent : {Daemon::hangs, Daemon::throws}) {
        lines.clear(), notes.clear(), installed.clear();
        reporter->daemon = silent;
        hold(silent == Daemon::hangs ? "1.2" : "1.3");
        // Each silent poll takes 12 s, and the next comes 15 s later; after the fourth comes the last look.
        clock.run(4 * 12s + 3 * 15s + 11s);
        EXPECT_THAT(installed, ElementsAre());
        EXPECT_EQ(lines.size(), 4u);
        EXPECT_THAT(lines.back(), HasSubstr("(silent poll 3 of 4; it installs anyway after that)"));
        EXPECT_THAT(notes,
                    ElementsAre("the daemon is not answering — holding the swap (silent poll 1 of 4; it installs "
                                "anyway after that)"));
        clock.run(1s);
        EXPECT_EQ(installed.size(), 1u);
    }
}

TEST_F(UpdateInstallGateTest, AnAnswerBetweenSilencesCountsThemAnew) {
    reporter->daemon = Daemon::live;
    hold();
    clock.run(1s);
    for (const auto& [daemon, polls, title] :
         {std::tuple{Daemon::hangs, 3, ""}, std::tuple{Daemon::live, 1, afterCall}, std::tuple{Daemon::hangs, 3, ""},
          std::tuple{Daemon::live, 1, afterCall}}) {
        reporter->daemon = daemon;
        for (const int end = reporter->asked + polls; reporter->asked < end;) clock.run(1s);
        clock.run(13s);
        EXPECT_EQ(shown(), title);
    }
    EXPECT_THAT(installed, ElementsAre());
}

TEST_F(UpdateInstallGateTest, LooksAgainBeforeTheSwap) {
    struct Case {
        Daemon then;
        const char* line;
        std::string version, other;
    };
    for (const auto& [then, line, version, other] :
         {Case{Daemon::live, "a call started while the swap was being prepared — holding the swap", "1", "2"},
          Case{Daemon::hangs, "the daemon stopped answering while the swap was being prepared — holding the swap", "3",
               "4"}}) {
        gate = makeGate();
        reporter->daemon = Daemon::clear;
        reporter->answersAfter = 1s;
        hold(version);
        clock.run(0s);
        reporter->daemon = then;
        clock.run(14s);
        EXPECT_EQ(lines.back(), line);
        EXPECT_EQ(shown(), version + " ready, installs after your call");
        EXPECT_THAT(installed, ElementsAre());
        gate->drop();
        // Dropped in the middle of the first question or of that look, nothing is swapped, shown or said.
        row.reset();
        for (const auto& [daemon, after] : {std::pair{Daemon::live, 0s}, std::pair{Daemon::clear, 1s}}) {
            gate = makeGate();
            reporter->daemon = daemon;
            hold(other);
            clock.run(after);
            gate->drop();
            const auto said = lines.size();
            clock.run(60s);
            EXPECT_EQ(lines.size(), said);
            EXPECT_EQ(shown(), "");
            EXPECT_THAT(installed, ElementsAre());
        }
    }
}

TEST_F(UpdateInstallGateTest, AnotherVersionWaitsForTheEndOfTheSameCall) {
    reporter->daemon = Daemon::live;
    hold();
    clock.run(1s);
    reporter->daemon = Daemon::clear;
    clock.run(30s);
    gate->drop();
    hold("2");
    clock.run(80s);
    EXPECT_THAT(installed, ElementsAre());
    clock.run(30s);
    EXPECT_THAT(installed, ElementsAre("2"));
}

TEST_F(UpdateInstallGateTest, InstallNowEndsEveryWait) {
    EXPECT_FALSE(gate->installNow());
    reporter->daemon = Daemon::live;
    hold();
    clock.run(1s);
    EXPECT_TRUE(gate->installNow());
    EXPECT_THAT(installed, ElementsAre("1.2"));
    EXPECT_THAT(lines,
                ::testing::Contains("install now: chosen from the menu — swapping without waiting for the call"));
    // While a question is under way, its answer or its end is waited for, and that of the last look as well.
    struct Case {
        Daemon daemon;
        std::chrono::seconds clickAfter, swapAfter;
    };
    for (const auto& [daemon, clickAfter, swapAfter] :
         {Case{Daemon::live, 1s, 4s}, Case{Daemon::hangs, 1s, 11s}, Case{Daemon::clear, 6s, 4s}}) {
        installed.clear();
        reporter->daemon = daemon;
        reporter->answersAfter = 5s;
        hold();
        clock.run(clickAfter);
        reporter->daemon = Daemon::live;
        EXPECT_TRUE(gate->installNow());
        clock.run(swapAfter - 1s);
        EXPECT_THAT(installed, ElementsAre());
        clock.run(1s);
        EXPECT_THAT(installed, ElementsAre("1.2"));
    }
    // The click was for that update: the next waits for the call again.
    reporter->answersAfter = 0s;
    hold("1.3");
    clock.run(60s);
    EXPECT_THAT(installed, ElementsAre("1.2"));
}

}  // namespace
}  // namespace larkmoor
