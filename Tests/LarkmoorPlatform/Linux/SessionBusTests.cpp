#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"
#include "Support/Linux/Settle.h"
#include "Support/PrivateBus.h"

namespace larkmoor::testing {
namespace {

constexpr const char* driver = "org.freedesktop.DBus";
constexpr const char* path = "/a/b";
constexpr const char* interface = "a.b.C";

class SessionBusTest : public ::testing::Test {
  protected:
    static BusMessage askDriver(SessionBus& bus, const std::string& member) {
        return bus.methodCall(driver, "/org/freedesktop/DBus", driver, member);
    }
    /// Waits until the connection stands; its own name.
    std::string connected(SessionBus& bus) {
        settle(loop, bus);
        return bus.uniqueName();
    }
    /// A peer that takes calls of `Wait` and never answers.
    BusSlot addSilentObject(SessionBus& bus) {
        static const sd_bus_vtable table[] = {
            SD_BUS_VTABLE_START(0),
            SD_BUS_METHOD(
                "Wait", "", "", [](sd_bus_message*, void*, sd_bus_error*) { return 1; }, 0),
            SD_BUS_VTABLE_END,
        };
        return bus.addObject(path, interface, table, nullptr);
    }

    static BusMessage callSilent(SessionBus& bus, const std::string& peer) {
        return bus.methodCall(peer, path, interface, "Wait");
    }

    MainLoop loop;
    PrivateBus daemon;
};

TEST_F(SessionBusTest, CallsNobodyWhoHasGivenUp) {
    SessionBus bus{loop, daemon.address()};
    bool isCalled = false;
    // A call that the library refuses is told later, and may be given up before that.
    for (const BusMessage& message : {askDriver(bus, "GetId"), BusMessage{}})
        bus.call(message, [&](const BusResult&) { isCalled = true; }).reset();
    connected(bus);
    EXPECT_FALSE(isCalled);
}

TEST_F(SessionBusTest, EndsACallInTimeOrNever) {
    SessionBus bus{loop, daemon.address()};
    SessionBus peer{loop, daemon.address()};
    const BusSlot object = addSilentObject(peer);
    const std::string name = connected(peer);
    const auto late = runTask(loop, bus.call(callSilent(bus, name), std::chrono::milliseconds{20}));
    EXPECT_EQ(late.value().error().name, BusErrorName::noReply);

    bool isCalled = false;
    const BusSlot patient =
        bus.call(callSilent(bus, name), [&](const BusResult&) { isCalled = true; }, SessionBus::noTimeout);
    connected(bus);
    std::uint64_t wakes = 0;
    ASSERT_GE(sd_bus_get_timeout(bus.handle(), &wakes), 0);
    EXPECT_EQ(wakes, UINT64_MAX);
    EXPECT_FALSE(isCalled);
}

TEST_F(SessionBusTest, TellsEveryCallWhenTheBusIsKilled) {
    SessionBus bus{loop, daemon.address()};
    SessionBus peer{loop, daemon.address()};
    const BusSlot object = addSilentObject(peer);
    const std::string name = connected(peer);
    int failed = 0;
    int lost = 0;
    bus.onLost([&](const BusError&) {
        EXPECT_EQ(failed, 2);
        ++lost;
    });
    const auto count = [&](const BusResult& result) { failed += result ? 0 : 1; };
    const BusSlot first = bus.call(callSilent(bus, name), count, SessionBus::noTimeout);
    const BusSlot second = bus.call(callSilent(bus, name), count, SessionBus::noTimeout);
    connected(bus);
    daemon.kill();
    ASSERT_TRUE(runUntil(loop, [&] { return lost > 0; }));
    EXPECT_TRUE(bus.isLost());
    const auto after = runTask(loop, bus.call(askDriver(bus, "GetId")));
    EXPECT_FALSE(after.value().has_value());
    EXPECT_EQ(lost, 1);
}

TEST_F(SessionBusTest, TellsThatThereIsNoBus) {
    for (const std::string address : {"unix:path=/nonexistent/bus", "", "nonsense"}) {
        SessionBus bus{loop, address};
        int lost = 0;
        bus.onLost([&](const BusError&) { ++lost; });
        const auto answer = runTask(loop, bus.call(askDriver(bus, "GetId")));
        EXPECT_FALSE(answer.value().has_value());
        ASSERT_TRUE(runUntil(loop, [&] { return lost == 1; })) << address;
    }
}

TEST_F(SessionBusTest, NeverWaitsForABusThatDoesNotAnswer) {
    const DeafBus deaf;

    const auto begin = std::chrono::steady_clock::now();
    SessionBus bus{loop, deaf.address()};
    const BusSlot call = bus.call(askDriver(bus, "GetId"), [](const BusResult&) {});
    const BusSlot match = bus.match(BusMatch{}.interface(interface).rule(), [](const BusMessage&) {});
    const BusSlot name = bus.requestName("a.b.c", [](const std::expected<void, BusError>&) {});
    BusMessage descriptors = bus.signal(path, interface, "S");
    EXPECT_FALSE(BusWriter{descriptors}.descriptor(0).fits());
    EXPECT_EQ(bus.uniqueName(), "");
    runReady(loop);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{5});
}

TEST_F(SessionBusTest, GetsOnlyAFreeNameAndDoesNotQueue) {
    SessionBus first{loop, daemon.address()}, second{loop, daemon.address()};
    const auto request = [&](SessionBus& bus) {
        std::optional<bool> granted;
        const BusSlot slot = bus.requestName("a.b.c", [&](const auto& answer) { granted = answer.has_value(); });
        EXPECT_TRUE(runUntil(loop, [&] { return granted.has_value(); }));
        return granted == true;
    };
    EXPECT_TRUE(request(first) && request(first) && !request(second));
    first.releaseName("a.b.c");
    EXPECT_TRUE(request(first)) << "nobody stood in the queue";
}

TEST_F(SessionBusTest, LetsACallbackDestroyEverything) {
    auto bus = std::make_unique<SessionBus>(loop, daemon.address());
    bool isCalled = false;
    bool isOtherCalled = false;
    const BusSlot call = bus->call(askDriver(*bus, "GetId"), [&](const BusResult&) {
        bus.reset();
        isCalled = true;
    });
    const BusSlot other = bus->call(askDriver(*bus, "GetId"), [&](const BusResult&) { isOtherCalled = true; });
    ASSERT_TRUE(runUntil(loop, [&] { return isCalled; }));
    runReady(loop);
    EXPECT_FALSE(isOtherCalled);
}

TEST_F(SessionBusTest, EndsATaskThatWaitsWhenItIsClosed) {
    auto bus = std::make_unique<SessionBus>(loop, daemon.address());
    SessionBus peer{loop, daemon.address()};
    const BusSlot object = addSilentObject(peer);
    const std::string name = connected(peer);
    std::optional<BusResult> result;
    boost::asio::co_spawn(loop, bus->call(callSilent(*bus, name), SessionBus::noTimeout),
                          [&](const std::exception_ptr&, BusResult answer) { result = std::move(answer); });
    connected(*bus);
    EXPECT_FALSE(result);
    bus.reset();
    ASSERT_TRUE(runUntil(loop, [&] { return result.has_value(); }));
    EXPECT_FALSE(result->has_value());
}

TEST_F(SessionBusTest, KeepsTheLoopFreeInAFlood) {
    SessionBus bus{loop, daemon.address()};
    SessionBus flooding{loop, daemon.address()};
    int seen = 0;
    const BusSlot match = bus.match(BusMatch{}.interface(interface).rule(), [&](const BusMessage&) { ++seen; });
    connected(bus);
    connected(flooding);
    constexpr int flood = 2000;
    for (int count = 0; count < flood; ++count) flooding.send(flooding.signal(path, interface, "S"));
    ASSERT_GE(sd_bus_flush(flooding.handle()), 0);
    int most = 0;
    int before = 0;
    ASSERT_TRUE(runUntil(loop, [&] {
        most = std::max(most, seen - before);
        before = seen;
        return seen == flood;
    }));
    EXPECT_LE(most, 64) << "in one turn of the loop";
}

}  // namespace
}  // namespace larkmoor::testing
