// A private bus with an item's side and a host's side, both on the test's own loop.
#pragma once

#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Menu.h"
#include "Support/Linux/Settle.h"
#include "Support/PrivateBus.h"

namespace larkmoor::testing {

class TrayFixture : public ::testing::Test {
  protected:
    static constexpr const char* itemInterface = "org.kde.StatusNotifierItem";
    static constexpr const char* menuInterface = "com.canonical.dbusmenu";
    static constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

    TrayFixture() { settle(); }

    /// Lets both sides do all that they have to, and the host hear of it: each asks the bus, which answers in order.
    void settle() {
        for (SessionBus* bus : {&itemBus, &itemBus, &hostBus}) {
            testing::settle(loop, *bus);
            runReady(loop);
        }
    }

    /// A host's call of the item's side, awaited.
    template <class Fill>
    BusResult ask(const std::string& path, const std::string& interface, const std::string& member, Fill&& fill) {
        const BusMessage call = hostBus.methodCall(itemBus.uniqueName(), path, interface, member);
        BusWriter writer{call};
        fill(writer);
        return runTask(loop, hostBus.call(call)).value();
    }

    /// What the host hears of the item's side: the members, in order.
    void follow(const char* interface) {
        settle();
        signals_.push_back(hostBus.match(BusMatch{}.interface(interface).rule(), [this](const BusMessage& message) {
            heard.push_back(sd_bus_message_get_member(message.get()));
        }));
        settle();
    }
    std::vector<std::string> takeHeard() {
        settle();
        return std::exchange(heard, {});
    }

    PrivateBus daemon;
    MainLoop loop;
    SessionBus itemBus{loop, daemon.address()};
    SessionBus hostBus{loop, daemon.address()};
    std::vector<std::string> heard;

  private:
    std::vector<BusSlot> signals_;
};

}  // namespace larkmoor::testing
