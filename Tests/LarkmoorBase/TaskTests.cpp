// Tasks that nobody waits for, and the event that several wait for.
#include <stdexcept>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorPlatform/Spawn.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {
namespace {

using ::testing::ElementsAre;

struct Owner {
    std::vector<std::string> done;

    Task<void> work() {
        done.emplace_back("worked");
        co_return;
    }
};

TEST(Spawn, BeginsAtTheNextTurnAndHoldsItsOwnerForAsLongAsItRuns) {
    MainLoop loop;
    auto owner = std::make_shared<Owner>();
    const std::weak_ptr weak{owner};
    boost::asio::post(loop, [&] {
        // What escapes is logged, and ends no other task.
        spawn(loop, weak, [](Owner&) -> Task<void> {
            throw std::runtime_error{"disk on fire"};
            co_return;
        });
        spawn(loop, weak, &Owner::work);
        owner->done.emplace_back("asked");
    });
    runReady(loop);
    EXPECT_THAT(owner->done, ElementsAre("asked", "worked"));

    const auto outlived = std::make_shared<OneShotEvent>(loop);
    spawn(loop, weak, [outlived](Owner&) { return outlived->wait(); });
    owner.reset();
    runReady(loop);
    EXPECT_FALSE(weak.expired());
    outlived->set();
    runReady(loop);
    EXPECT_TRUE(weak.expired());
}

TEST(OneShotEvent, ReleasesAllThatWaitAndHoldsUpNobodyAfter) {
    const auto owner = std::make_shared<Owner>();
    {
        MainLoop loop;
        const auto event = std::make_shared<OneShotEvent>(loop);
        const auto waiting = [event](Owner& self) -> Task<void> {
            co_await event->wait();
            self.done.emplace_back("through");
        };
        spawn(loop, std::weak_ptr{owner}, waiting);
        spawn(loop, std::weak_ptr{owner}, waiting);
        runReady(loop);
        EXPECT_TRUE(owner->done.empty());
        event->set();
        EXPECT_TRUE(event->isSet());
        runReady(loop);
        EXPECT_THAT(owner->done, ElementsAre("through", "through"));
        event->set();
        spawn(loop, std::weak_ptr{owner}, waiting);
        runReady(loop);
        EXPECT_EQ(owner->done.size(), 3U);

        const auto never = std::make_shared<OneShotEvent>(loop);
        spawn(loop, std::weak_ptr{owner}, [never](Owner&) { return never->wait(); });
        runReady(loop);
    }
    EXPECT_EQ(owner.use_count(), 1) << "the loop ended while a task waited";
}

}  // namespace
}  // namespace larkmoor::testing
