#include "CXPCShim/larkmoor_mach_service_registered.h"

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "Support/PrivateBus.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {
namespace {

TEST(MachServiceRegisteredTest, IsTrueForANameWithAnOwner) {
    const char* const service = "tools.fenwright.larkmoor.gateway";
    const DeafBus deaf;
    ::setenv("DBUS_SESSION_BUS_ADDRESS", deaf.address().c_str(), 1);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(larkmoor_mach_service_registered(service));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{5});

    PrivateBus daemon;
    ::setenv("DBUS_SESSION_BUS_ADDRESS", daemon.address().c_str(), 1);
    // It gives up after a second, which a busy machine may need for an answer.
    const auto becomes = [&](bool wanted) {
        for (int tries = 0; tries < 20; ++tries)
            if (larkmoor_mach_service_registered(service) == wanted) return true;
        return false;
    };
    EXPECT_FALSE(larkmoor_mach_service_registered(service));
    MainLoop loop;
    SessionBus owner{loop, daemon.address()};
    bool isOwned = false;
    const BusSlot claim = owner.requestName(service, [&](const auto& granted) { isOwned = granted.has_value(); });
    ASSERT_TRUE(runUntil(loop, [&] { return isOwned; }));
    EXPECT_TRUE(becomes(true));
    for (const char* name : {"tools.fenwright.larkmoor.gatewa", "", "no name", "\xff"})
        EXPECT_FALSE(larkmoor_mach_service_registered(name)) << name;
    owner.releaseName(service);
    runReady(loop);
    EXPECT_TRUE(becomes(false)) << "its owner is gone";
    daemon.kill();
    EXPECT_FALSE(larkmoor_mach_service_registered(service));
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

}  // namespace
}  // namespace larkmoor::testing
