#include "CXPCShim/larkmoor_mach_service_registered.h"

#include <thread>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "Support/PrivateBus.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {
namespace {

const char* const service = "tools.fenwright.larkmoor.gateway";

/// The process's session bus for as long as this lives.
class SessionAddress {
  public:
    explicit SessionAddress(const std::string& address) { ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1); }
    ~SessionAddress() { ::unsetenv("DBUS_SESSION_BUS_ADDRESS"); }
    SessionAddress(const SessionAddress&) = delete;
    SessionAddress& operator=(const SessionAddress&) = delete;
};

TEST(MachServiceRegisteredTest, IsTrueForANameWithAnOwner) {
    PrivateBus daemon;
    const SessionAddress session{daemon.address()};
    EXPECT_FALSE(larkmoor_mach_service_registered(service));
    MainLoop loop;
    std::optional<SessionBus> owner{std::in_place, loop, daemon.address()};
    bool isOwned = false;
    const BusSlot claim = owner->requestName(service, [&](const std::expected<void, BusError>&) { isOwned = true; });
    ASSERT_TRUE(runUntil(loop, [&] { return isOwned; }));
    {
        std::vector<std::jthread> threads;
        std::atomic<int> registered = 0;
        const auto ask = [&] {
            // It gives up after a second, which a busy machine may need for an answer.
            for (int tries = 0; tries < 20; ++tries) {
                if (larkmoor_mach_service_registered(service)) return ++registered, void();
            }
        };
        for (int count = 0; count < 4; ++count) threads.emplace_back(ask);
        threads.clear();
        EXPECT_EQ(registered, 4);
    }
    EXPECT_FALSE(larkmoor_mach_service_registered("tools.fenwright.larkmoor.gatewa"));
    for (const char* name : {"", "no name", "\xff", ".."}) EXPECT_FALSE(larkmoor_mach_service_registered(name)) << name;
    daemon.kill();
    EXPECT_FALSE(larkmoor_mach_service_registered(service));
}

TEST(MachServiceRegisteredTest, GivesUpOnABusThatDoesNotAnswer) {
    const DeafBus deaf;
    const SessionAddress session{deaf.address()};
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(larkmoor_mach_service_registered(service));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{5});
}

}  // namespace
}  // namespace larkmoor::testing
