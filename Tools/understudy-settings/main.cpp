// larkmoor-settings: a stand-in for the settings application, for tests and development. See --help.
#include <fmt/format.h>

#include <boost/asio/signal_set.hpp>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorKit/FirstRun/OnboardingTrigger.h"
#include "LarkmoorKit/FirstRun/WindowDoor.h"
#include "LarkmoorPlatform/DistributedNotifications.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/Messaging/BusDistributedNotifications.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor::understudy {

namespace {

/// The windows of the settings application: opened and raised as the menu asks, and recorded.
class Windows {
  public:
    /// `notifications` outlives this; `support` is Application Support.
    Windows(DistributedNotifications& notifications, std::string support);

    void open(WindowDoor::Pane pane, bool front);
    /// Completes the journey: writes both receipts and closes its window.
    void finishJourney();
    /// Closes the journey's window, if it is open, and notifies the menu.
    void close();

    /// The requests, in order: "build onboarding", "open stats", ...
    const std::vector<std::string>& seen() const { return seen_; }

  private:
    void tellJourney(bool isVisible);

    DistributedNotifications& notifications_;
    std::string support_;
    std::vector<std::string> seen_;
    bool isJourneyLive_ = false;
    std::unique_ptr<DistributedNotifications::Token> door_;
};

Windows::Windows(DistributedNotifications& notifications, std::string support)
    : notifications_(notifications), support_(std::move(support)) {
    door_ = notifications_.observe(
        std::string{WindowDoor::notification},
        [this](const std::optional<std::string>& object, const DistributedNotifications::Info& info) {
            if (const auto pane = fromRawText<WindowDoor::Pane>(object.value_or("")))
                open(*pane, WindowDoor::wantsFront(info));
        });
}

void Windows::open(WindowDoor::Pane pane, bool front) {
    if (pane != WindowDoor::Pane::onboarding) {
        seen_.push_back(fmt::format("open {}", rawText(pane)));
        return;
    }
    seen_.push_back(
        fmt::format("{} onboarding", rawText(WindowDoor::journeyDoor(isJourneyLive_, isJourneyLive_, front))));
    tellJourney(true);
}

void Windows::finishJourney() {
    TermsReceipt::markAgreed(TermsReceipt::path(support_));
    RecoveryKeyReceipt::markPassed(RecoveryKeyReceipt::path(support_));
    tellJourney(false);
}

void Windows::close() {
    if (isJourneyLive_) tellJourney(false);
}

void Windows::tellJourney(bool isVisible) {
    isJourneyLive_ = isVisible;
    notifications_.post(std::string{ClientInstance::journeyVisibleNotification}, isVisible ? "1" : "0", {});
}

constexpr const char* objectPath = "/tools/fenwright/larkmoor/understudy";
constexpr const char* interface = "tools.fenwright.larkmoor.Understudy";

int tellSeen(sd_bus_message* message, void* windows, sd_bus_error*) noexcept {
    const BusMessage reply = BusMessage::methodReturn(BusMessage::retaining(message));
    BusWriter writer{reply};
    writer.array("s", [&] {
        for (const std::string& line : static_cast<Windows*>(windows)->seen()) writer.text(line);
    });
    return sd_bus_send(nullptr, reply.get(), nullptr);
}

int finishJourney(sd_bus_message* message, void* windows, sd_bus_error*) noexcept {
    static_cast<Windows*>(windows)->finishJourney();
    return sd_bus_reply_method_return(message, "");
}

const sd_bus_vtable orders[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Seen", "", "as", tellSeen, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("FinishJourney", "", "", finishJourney, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

void printHelp() {
    fmt::print(R"(usage: larkmoor-settings [--window=settings|stats|editor|onboarding]

Owns {0} on the session bus, notes which windows the menu asks for, and tells the menu of the
journey's. SIGTERM ends it, as it would the application.

Orders, interface {1} at {2}:
  Seen() -> as      what was asked, in order: "open stats", "build onboarding", "front onboarding"
  FinishJourney()   terms and recovery key are done, and the journey's window closes

  busctl --user call {0} {2} \
      {1} Seen
)",
               ClientInstance::settingsID, interface, objectPath);
}

int serve(const std::vector<std::string>& arguments) {
    MainLoop loop;
    int status = 0;
    SessionBus bus{loop};
    BusDistributedNotifications notifications{bus};
    Windows windows{notifications, ModelsFolder::defaultSupport()};
    const BusSlot object = bus.addObject(objectPath, interface, orders, &windows);
    const auto end = [&](int with) {
        status = with;
        windows.close();
        sd_bus_flush(bus.handle());
        loop.stop();
    };
    bus.onLost([&](const BusError&) { loop.stop(); });
    const BusSlot name = bus.requestName(std::string{ClientInstance::settingsID}, [&](const auto& granted) {
        if (!granted) return end(1);
        if (const auto pane = WindowDoor::requested(arguments)) windows.open(*pane, true);
    });
    boost::asio::signal_set signals{loop, SIGTERM, SIGINT};
    signals.async_wait([&](const boost::system::error_code& failed, int) {
        if (!failed) end(0);
    });
    loop.run();
    return status;
}

}  // namespace

}  // namespace larkmoor::understudy

int main(int count, char** arguments) {
    using namespace larkmoor::understudy;
    const std::vector<std::string> words(arguments + 1, arguments + count);
    if (words == std::vector<std::string>{"--help"}) return printHelp(), EXIT_SUCCESS;
    return serve(words);
}
