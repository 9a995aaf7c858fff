// A year of a person's days around updates on a driven clock: daily clock, install gate and row, with an updater and a
// daemon that do whatever they may.
#include <random>

#include "LarkmoorMenuApp/Update/UpdateInstallGate.h"
#include "LarkmoorUpdate/Clock/DailyClock.h"
#include "LarkmoorUpdate/Row/UpdateMenuAnswer.h"
#include "Support/DrivenClock.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using State = UpdateMenuLine::State;
using Event = UpdateMenuLine::Event;
using Duration = std::chrono::nanoseconds;

class Random {
  public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}
    int below(std::size_t end) { return static_cast<int>(engine_() % end); }
    bool oneIn(std::size_t count) { return below(count) == 0; }
    /// Short ones as likely as long ones.
    Duration time(std::chrono::seconds longest) {
        std::int64_t limit = longest.count();
        while (limit > 2 && oneIn(2)) limit /= 3;
        return std::chrono::milliseconds{
            static_cast<std::int64_t>(engine_() % static_cast<std::uint64_t>(limit * 1000))};
    }

  private:
    std::mt19937_64 engine_;
};

/// The machine, the daemon and the feed, which outlive each run of the application.
struct World {
    enum class Daemon { answers, slow, hangs };

    explicit World(std::uint64_t seed) : random(seed) {}
    bool isInCall() const { return clock.awake() < callEnds; }

    testing::DrivenClock clock;
    Random random;
    Daemon daemon = Daemon::answers;
    Duration callEnds{};
    bool optedIn = true;
    int onFeed = 1, installed = 1;
    std::optional<DailyClock::Date> lastCheck;
    int checks = 0, swaps = 0, insisted = 0, gaveUp = 0;  ///< that something happened at all
};

/// One run of the application: what the host does of it, and what is true, as far as the row speaks of it.
class Run final : public MeetingReporting, public std::enable_shared_from_this<Run> {
  public:
    explicit Run(World& world) : world_(world), armedAt_(world.clock.awake()) {}

    void begin() {
        gate_ = std::make_shared<UpdateInstallGate>(UpdateInstallGate::Seams{
            .loop = clock().loop(),
            .meeting = shared_from_this(),
            .system = [](const std::string&) {},
            .note = [](const std::string&) {},
            .every = clock().every(),
            .now = [this] { return clock().steady(); },
            .waiting = clock().waiting(),
        });
        gate_->onRow = [this](const Event& event) { show(event); };
        daily_.emplace(clock().wallSource(), DailyClock::firstDelay(world_.lastCheck, clock().wall(), 24h), 24h, 15s,
                       [this] { tick(); });
    }
    /// The process is gone; a question that hangs may still hold this object.
    void end() {
        ++generation_;
        daily_.reset();
        gate_->onRow = nullptr;
        gate_->drop();
        gate_.reset();
    }
    bool isOver() const { return isOver_; }
    bool isHolding() const { return held_.has_value(); }

    void clickCheck() {
        if (StalePick::beforeCheck(bits_) == StalePick::Verdict::waitForTheDownload) return;
        rebuild();
        clickOwed_ = true;
        check(true);
    }
    void clickRow() {
        const auto line = UpdateMenuLine::line(row_);
        if (!line || line->click != UpdateMenuLine::Click::installNow) return;
        const bool wasHeld = held_.has_value();
        if (wasHeld && !held_->insistedAt) held_->insistedAt = clock().awake(), ++world_.insisted;
        const bool took = gate_->installNow();
        EXPECT_EQ(took, wasHeld);
        if (!took) clickCheck();
    }
    void migrationEnds() { gate_->pollNow(); }

    /// What holds at every moment.
    void expectTruth() const {
        if (row_) {
            row_->visit([&](const State::Downloading& row) { EXPECT_TRUE(bits_ && row.version == picked_); },
                        [&](const State::Unpacking& row) { EXPECT_TRUE(unpacks_ && row.version == picked_); },
                        [&](const State::AfterCall& row) { EXPECT_TRUE(held_ && row.version == held_->version); },
                        [&](const State::OnQuit& row) { EXPECT_EQ(row.version, onQuit_); });
        }
        EXPECT_LE(checks_, 1);
        EXPECT_LE(clock().awake() - armedAt_, 24h + 15s) << "no tick";
        if (!held_) return;
        EXPECT_LE(clock().awake() - std::max(answeredAt_, held_->since), silence);
        EXPECT_LE(clock().awake(), std::max(stagedAt_ + 1800s, held_->since) + slack) << held_->version;
        if (held_->insistedAt) EXPECT_LE(clock().awake() - *held_->insistedAt, 12s);
    }

    Task<MeetingReading> meetingReading() override {
        const auto self = shared_from_this();
        if (world_.daemon == World::Daemon::slow) co_await clock().delay(1s * world_.random.below(15));
        if (world_.daemon == World::Daemon::hangs) co_await clock().delay(1h * world_.random.below(20000));
        const bool live = world_.isInCall();
        if (held_) answeredAt_ = clock().awake();
        if (held_ && live) liveAt_ = clock().awake();
        co_return live ? MeetingReading::live : MeetingReading::clear;
    }

  private:
    /// A poll may begin 15 s after the last one and ask for 12 s; the last look before a swap asks once more.
    static constexpr Duration slack = 15s + 12s + 12s;

    /// Four silent polls, then the two minutes after a call that was heard before, and the last poll and look.
    static constexpr Duration silence = 4 * (15s + 12s) + 120s + slack;

    struct Held {
        int generation;
        std::string version;
        Duration since;
        std::optional<Duration> insistedAt{};
    };

    testing::DrivenClock& clock() const { return world_.clock; }

    void show(const Event& event) { row_ = UpdateMenuLine::next(row_, event); }

    void tick() {
        armedAt_ = clock().awake();
        if (DailyClock::onTick(bits_, clickOwed_, row_) != DailyClock::Tick::rebuildThenCheck) return;
        EXPECT_FALSE(bits_ || unpacks_ || clickOwed_) << "the tick ends what is under way";
        rebuild();
        check(false);
    }

    void rebuild() {
        show(Event::Rebuilt{});
        held_.reset();
        gate_->drop();
        ++generation_;
        bits_ = unpacks_ = clickOwed_ = false;
        checks_ = 0;
    }

    void check(bool byClick) {
        ++world_.checks;
        ++checks_;
        spawn(clock().loop(), weak_from_this(),
              [byClick, generation = generation_](Run& run) { return run.session(byClick, generation); });
    }

    /// False if this updater is gone by then; an old updater may still say that its session ended.
    Task<bool> lives(int generation, std::chrono::seconds longest) {
        co_await clock().delay(world_.random.time(longest));
        co_return generation == generation_ && !isOver_;
    }

    void endSession() {
        bits_ = unpacks_ = clickOwed_ = false;
        --checks_;
        show(Event::SessionEnded{});
    }

    Task<void> session(bool byClick, int generation) {
        if (!co_await lives(generation, 60s)) co_return;
        if (world_.random.oneIn(9)) co_return endSession();  // an error
        world_.lastCheck = clock().wall();
        if (world_.onFeed == world_.installed) co_return endSession();
        picked_ = std::to_string(world_.onFeed);
        if (byClick || !world_.optedIn) {
            show(Event::Found{});
            onQuit_.clear();
            clickOwed_ = false;
            if (!co_await lives(generation, 48h)) co_return;
            if (world_.random.oneIn(3)) co_return endSession();  // not now
        }
        if (!co_await fetch(generation)) co_return;
        if (byClick && world_.random.oneIn(2)) {
            gate_->holdOfferedInstall([this] { swap(); });
            co_return endSession();
        }
        if (world_.random.oneIn(4)) {
            show(Event::ChoseInstallOnQuit{picked_});
            onQuit_ = picked_;
        }
        hold(generation);
        endSession();
    }

    Task<bool> fetch(int generation) {
        show(Event::DownloadStarted{picked_});
        bits_ = true;
        if (!world_.random.oneIn(3)) show(Event::ExpectedLength{1000});
        for (int part = 0; part < 4; ++part) {
            if (!co_await lives(generation, 600s)) co_return false;
            show(Event::Received{static_cast<std::uint64_t>(world_.random.below(400))});
            if (world_.random.oneIn(20)) {
                endSession();
                co_return false;
            }
        }
        bits_ = false;
        unpacks_ = true;
        show(Event::Unpacking{picked_});
        co_return co_await lives(generation, 60s);
    }

    void hold(int generation) {
        held_.reset();
        if (std::exchange(staged_, picked_) != picked_) stagedAt_ = clock().awake();
        held_ = {.generation = generation, .version = picked_, .since = clock().awake()};
        gate_->hold(
            [this, generation, version = picked_, called = false] mutable {
                EXPECT_FALSE(std::exchange(called, true)) << "called twice";
                ASSERT_TRUE(held_ && generation == generation_ && generation == held_->generation &&
                            version == held_->version)
                    << "a stale block";
                expectSafe();
                if (clock().awake() - held_->since >= 1800s) ++world_.gaveUp;
                EXPECT_FALSE(row_) << "a row after a swap";
                held_.reset();
                staged_.clear();
                liveAt_.reset();
                swap();
            },
            picked_);
    }
    void expectSafe() const {
        if (held_->insistedAt || clock().awake() - stagedAt_ >= 1800s) return;
        // With a silent daemon nothing is known of a call.
        if (answeredAt_ < clock().awake()) return;
        EXPECT_FALSE(world_.isInCall());
        if (liveAt_) EXPECT_GE(clock().awake() - *liveAt_, 120s);
    }

    /// The bundle is exchanged and the application starts anew, or that fails.
    void swap() {
        ++world_.swaps;
        if (world_.random.oneIn(4)) return;
        world_.installed = std::stoi(picked_);
        isOver_ = true;
    }

    World& world_;
    std::shared_ptr<UpdateInstallGate> gate_;
    std::optional<WallClockTimer> daily_;
    std::optional<State> row_;
    int generation_ = 0;
    int checks_ = 0;  ///< under way, of this updater
    bool bits_ = false, unpacks_ = false, clickOwed_ = false, isOver_ = false;
    std::string picked_, onQuit_, staged_;
    std::optional<Held> held_;
    Duration armedAt_, stagedAt_{}, answeredAt_{};
    std::optional<Duration> liveAt_;
};

void live(World& world, Duration year) {
    Random& random = world.random;
    testing::DrivenClock& clock = world.clock;
    auto run = std::make_shared<Run>(world);
    run->begin();
    const std::function<void()> happenings[] = {
        [&] { clock.sleep(random.time(30 * 24h)); },
        [&] { clock.set(random.time(400 * 24h) * (random.below(3) - 1)); },
        [&] { world.callEnds = clock.awake() + random.below(900) * 1min; },
        [&] { world.callEnds = clock.awake() + random.below(40) * 1min; },
        [&] { world.callEnds = {}; },
        [&] { world.daemon = static_cast<World::Daemon>(random.below(3)); },
        [&] { world.daemon = World::Daemon::answers; },
        [&] { world.onFeed += random.below(2); },
        [&] { world.optedIn = !random.oneIn(4); },
        [&] { random.oneIn(3) ? run->clickCheck() : run->clickRow(); },
        [&] { run->migrationEnds(); },
    };
    std::size_t calm = 1;
    for (const Duration end = clock.awake() + year; clock.awake() < end && !::testing::Test::HasFailure();) {
        // Not past the beginning of a hold, so that much can happen in it.
        for (Duration left = random.time(12h); left > 0s && !run->isHolding(); left -= 300s) clock.run(300s);
        if (run->isHolding()) clock.run(random.time(90s));
        // Much happens in some holds, and little in others.
        if (!run->isHolding() || random.oneIn(calm)) happenings[random.below(std::size(happenings))]();
        if (run->isHolding() && random.oneIn(calm)) run->clickRow();
        if (!run->isHolding()) calm = std::size_t{5} << random.below(6);
        clock.run({});
        run->expectTruth();
        if (!run->isOver() && !random.oneIn(300)) continue;
        run->end();
        run = std::make_shared<Run>(world);
        run->begin();
    }
    run->end();
}

TEST(UpdateYear, NoHoldIsTooLongAndNoRowLies) {
    int checks = 0, swaps = 0, insisted = 0, gaveUp = 0;
    for (std::uint64_t seed = 1; seed <= 24 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        World world{seed};
        live(world, 365 * 24h);
        checks += world.checks, swaps += world.swaps, insisted += world.insisted, gaveUp += world.gaveUp;
    }
    // Years in which too little happened would show nothing.
    EXPECT_GT(checks, 5000);
    EXPECT_GT(swaps, 500);
    EXPECT_GT(insisted, 50);
    EXPECT_GT(gaveUp, 20);
}

}  // namespace
}  // namespace larkmoor
