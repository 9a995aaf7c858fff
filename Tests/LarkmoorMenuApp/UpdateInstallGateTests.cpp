// The install gate on a driven clock, with a daemon that answers, is silent or fails.
#include <stdexcept>

#include "LarkmoorMenuApp/Update/UpdateInstallGate.h"
#include "Support/DrivenClock.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

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

    testing::DrivenClock clock;
    std::shared_ptr<FakeReporter> reporter = std::make_shared<FakeReporter>(clock);
    std::vector<std::string> lines, notes, installed;
    std::optional<UpdateMenuLine::State> row;
    bool isAgreed = true;
    /// One that knows of no call yet.
    std::shared_ptr<UpdateInstallGate> makeGate() {
        auto made = std::make_shared<UpdateInstallGate>(UpdateInstallGate::Seams{
            .loop = clock.loop(),
            .meeting = reporter,
            .system = [this](const std::string& line) { lines.push_back(line); },
            .note = [this](const std::string& line) { notes.push_back(line); },
            .every = clock.every(),
            .isAgreed = [this] { return isAgreed; },
            .offer =
                [this] {
                    lines.emplace_back("offered");
                    gate->drop();
                },
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

struct Step {
    FakeReporter::Daemon daemon;
    std::string does;  ///< "drop", "click", "withdraw", the version that is held now, or nothing
    std::chrono::seconds passes;
    std::string installed, shown;  ///< afterwards
};

struct Hold {
    std::vector<Step> steps;
    std::vector<std::string> lines{};  ///< all; left out where other holds tell them
    std::vector<std::string> notes{};
    std::chrono::seconds answersAfter{0};
};

TEST_F(UpdateInstallGateTest, WaitsForACallWithinItsBounds) {
    using enum Daemon;
    const std::string reminder = "update swap deferred — a call is live (120s to go)",
                      ready = "1.2 ready, installs after your call";
    const auto silence = [](int poll) {
        return fmt::format(
            "the daemon is not answering — holding the swap (silent poll {} of 4; it installs anyway after that)",
            poll);
    };
    const std::vector<std::string> silent{staged, silence(1), silence(2), silence(3), proceeds};
    const Hold cases[] = {
        // The end of a call, and two minutes more.
        {{{live, "1.2", 690s, "", ready}, {clear, "", 134s, "", ready}, {clear, "", 1s, "1.2", ""}},
         {staged, reminder, reminder, proceeds},
         {reminder, reminder}},
        // Half an hour at most: a rebuild of the updater does not begin it anew, a swap that failed and another version
        // do.
        {{{live, "1.2", 1000s, "", ready},
          {live, "drop", 300s, "", ready},
          {live, "1.2", 499s, "", ready},
          {live, "", 16s, "1.2", ""},
          {live, "1.3", 1799s, "1.2", "1.3 ready, installs after your call"},
          {live, "", 16s, "1.2,1.3", ""},
          {live, "1.3", 1000s, "1.2,1.3", "1.3 ready, installs after your call"},
          {live, "1.4", 1799s, "1.2,1.3", "1.4 ready, installs after your call"}}},
        {{{live, "1.2", 1799s, "", ready}, {live, "", 1s, "1.2", ""}},
         {staged, reminder, reminder, reminder,
          "this update has been held for 30 minutes — swapping anyway. Being stuck un-updated is worse than a swap at "
          "a bad moment (RK 2026-08-28).",
          proceeds},
         {reminder, reminder, reminder}},
        // Each silent poll takes 12 s, and the next comes 15 s later; after the fourth comes the last look.
        {{{hangs, "1.2", 104s, "", ""}, {hangs, "", 1s, "1.2", ""}}, silent, {silence(1)}},
        {{{throws, "1.2", 104s, "", ""}, {throws, "", 1s, "1.2", ""}}, silent, {silence(1)}},
        // An answer between silences counts them anew.
        {{{live, "1.2", 1s, "", ready},
          {hangs, "", 82s, "", ""},
          {live, "", 15s, "", ready},
          {hangs, "", 82s, "", ""},
          {live, "", 15s, "", ready}}},
        // Another version waits for the end of the same call.
        {{{live, "1.2", 1s, "", ready},
          {clear, "", 30s, "", ready},
          {clear, "drop", 0s, "", ready},
          {clear, "2", 80s, "", "2 ready, installs after your call"},
          {clear, "", 30s, "2", ""}}},
        // Without the consent, which was withdrawn meanwhile, it is offered at the end of the wait.
        {{{live, "1.2", 1s, "", ready}, {live, "withdraw", 15s, "", ""}, {clear, "", 135s, "", ""}},
         {staged, reminder, "the consent to silent updates was withdrawn — the update stays staged, and is offered",
          "offered", "the updater was rebuilt — its held install block is dead; the next check hands a live one back"},
         {reminder}},
        {{{live, "1.2", 1s, "", ready}, {live, "withdraw", 15s, "", ""}, {live, "click", 0s, "1.2", ""}}},
        // A click ends the wait, and that for the answer to a question; it is for that update alone.
        {{{live, "1.2", 1s, "", ready}, {live, "click", 0s, "1.2", ""}},
         {staged, reminder, "install now: chosen from the menu — swapping without waiting for the call", proceeds},
         {reminder}},
        {{{live, "1.2", 1s, "", ""},
          {live, "click", 3s, "", ""},
          {live, "", 1s, "1.2", ""},
          {live, "1.3", 60s, "1.2", "1.3 ready, installs after your call"}},
         {},
         {},
         5s},
        {{{hangs, "1.2", 1s, "", ""}, {live, "click", 10s, "", ""}, {live, "", 1s, "1.2", ""}}, {}, {}, 5s},
        {{{clear, "1.2", 6s, "", ""}, {live, "click", 3s, "", ""}, {live, "", 1s, "1.2", ""}}, {}, {}, 5s},
    };
    for (const Hold& each : cases) {
        SCOPED_TRACE(&each - cases);
        // A question of the last one may be under way.
        gate->drop();
        clock.run(12s);
        gate = makeGate();
        row.reset(), lines.clear(), notes.clear(), installed.clear(), isAgreed = true;
        reporter->answersAfter = each.answersAfter;
        EXPECT_FALSE(gate->installNow());
        for (const Step& step : each.steps) {
            reporter->daemon = step.daemon;
            if (step.does == "drop") {
                gate->drop();
            } else if (step.does == "withdraw") {
                isAgreed = false;
            } else if (step.does == "click") {
                EXPECT_TRUE(gate->installNow());
            } else if (!step.does.empty()) {
                hold(step.does);
            }
            clock.run(step.passes);
            EXPECT_EQ(fmt::format("{}", fmt::join(installed, ",")), step.installed);
            EXPECT_EQ(shown(), step.shown);
        }
        if (each.lines.empty()) continue;
        EXPECT_EQ(lines, each.lines);
        EXPECT_EQ(notes, each.notes);
    }
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

}  // namespace
}  // namespace larkmoor
