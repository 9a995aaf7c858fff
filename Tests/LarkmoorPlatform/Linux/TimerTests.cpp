// The two timers against the real clocks.
#include <thread>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Linux/System/TimerDescriptorSource.h"
#include "LarkmoorPlatform/WallClockTimer.h"
#include "Support/RunUntil.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using Wall = std::chrono::system_clock;
using Steady = std::chrono::steady_clock;

TEST(TimerDescriptorSource, FiresOnceAtTheDateAndNotBefore) {
    for (const Wall::time_point date :
         {Wall::now() + 150ms, Wall::now() - 1h, Wall::time_point{}, Wall::time_point{-1h}, Wall::time_point::min()}) {
        MainLoop loop;
        TimerDescriptorSource source{loop};
        int fired = 0;
        source.schedule(date, 0s, [&] {
            EXPECT_GE(Wall::now(), date);
            ++fired;
        });
        EXPECT_EQ(fired, 0) << "a date that is over comes from the loop too";
        ASSERT_TRUE(testing::runUntil(loop, [&] { return fired > 0; }));
        loop.restart();
        loop.run_for(20ms);
        EXPECT_EQ(fired, 1);
    }
}

TEST(TimerDescriptorSource, OnlyTheLastDateCounts) {
    MainLoop loop;
    auto source = std::make_unique<TimerDescriptorSource>(loop);
    std::string fired;
    const auto schedule = [&](Wall::duration after, const char* name) {
        source->schedule(source->now() + after, 0s, [&fired, name] { fired += name; });
    };
    schedule(0s, "replaced by a later date ");
    schedule(1h, "replaced by an earlier date ");
    source->schedule(source->now() + 30ms, 0s, [&] {
        fired += "first ";
        schedule(10ms, "from inside ");
    });
    ASSERT_TRUE(testing::runUntil(loop, [&] { return fired == "first from inside "; }));
    schedule(20ms, "cancelled ");
    source->cancel();
    loop.restart();
    loop.run_for(40ms);
    schedule(20ms, "destroyed ");
    source.reset();
    loop.restart();
    loop.run_for(40ms);
    EXPECT_EQ(fired, "first from inside ");
}

/// With a clock that the test sets.
class FakeSource final : public WallClockSource {
  public:
    Date now() const override { return clock; }
    void schedule(Date when, Duration slack, std::function<void()> what) override {
        date = when;
        leeway = slack;
        fire = std::move(what);
    }
    void cancel() override { fire = nullptr; }

    void fireAt(Date when) {
        clock = when;
        std::exchange(fire, nullptr)();
    }

    Date clock{100h};
    Date date;
    Duration leeway{};
    std::function<void()> fire;
};

TEST(WallClockTimer, CountsFromEachFiring) {
    auto owned = std::make_unique<FakeSource>();
    FakeSource& source = *owned;
    int fired = 0;
    WallClockTimer timer{std::move(owned), 3h, 24h, 15s, [&] {
                             ++fired;
                             // The next is scheduled by now, in case this takes long or never returns.
                             EXPECT_EQ(source.date, source.clock + 24h);
                         }};
    EXPECT_EQ(source.date, FakeSource::Date{103h});
    EXPECT_EQ(source.leeway, 15s);
    source.fireAt(FakeSource::Date{103h});
    // Three days of sleep are one tick.
    source.fireAt(FakeSource::Date{200h});
    EXPECT_EQ(fired, 2);
    EXPECT_EQ(source.date, FakeSource::Date{224h});
    timer.stop();
    EXPECT_FALSE(source.fire);
}

TEST(WallClockTimer, MayBeDestroyedByItsTick) {
    MainLoop loop;
    std::unique_ptr<WallClockTimer> timer;
    int fired = 0;
    timer = std::make_unique<WallClockTimer>(std::make_unique<TimerDescriptorSource>(loop), 0s, 10ms, 0s, [&] {
        if (++fired == 3) timer.reset();
    });
    ASSERT_TRUE(testing::runUntil(loop, [&] { return !timer; }));
    loop.restart();
    loop.run_for(50ms);
    EXPECT_EQ(fired, 3);
}

TEST(RepeatingTimer, MissedBeatsAreOneAndTheRhythmStays) {
    MainLoop loop;
    std::vector<Steady::duration> beats;
    const auto began = Steady::now();
    bool isOver = false;
    int last = 0;
    std::unique_ptr<RepeatingTimer> timer = RepeatingTimer::on(loop)(300ms, [&] {
        if (isOver) return ++last, timer.reset();
        beats.push_back(Steady::now() - began);
        if (beats.size() == 1) std::this_thread::sleep_for(1050ms);
    });
    // At 300; busy until 1350; then one for 600, 900 and 1200; and again in step at 1500.
    ASSERT_TRUE(testing::runUntil(loop, [&] { return beats.size() == 3; }));
    EXPECT_GE(beats[1], 1350ms);
    EXPECT_GT(beats[2] / 300ms, beats[1] / 300ms);
    // A busy machine may be late for one beat; out of step it would be late for each.
    EXPECT_TRUE(testing::runUntil(loop, [&] { return beats.back() % 300ms < 100ms && beats.size() > 2; }));
    isOver = true;
    ASSERT_TRUE(testing::runUntil(loop, [&] { return !timer; }));
    loop.restart();
    loop.run_for(400ms);
    EXPECT_EQ(last, 1) << "nothing beats once it is dropped";
}

}  // namespace
}  // namespace larkmoor
