#include "LarkmoorPlatform/Linux/Services/UnitWatch.h"

#include <cstdlib>
#include <utility>

#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"

namespace larkmoor {

namespace {

constexpr const char* service = "org.freedesktop.systemd1";
constexpr const char* properties = "org.freedesktop.DBus.Properties";

std::string unitPath(const std::string& unit) {
    char* path = nullptr;
    sd_bus_path_encode("/org/freedesktop/systemd1/unit", unit.c_str(), &path);
    const std::unique_ptr<char, void (*)(void*)> held{path, std::free};
    return path == nullptr ? "/" : path;
}

bool isComing(const BusMessage& unitProperties) {
    bool isAtRest = true;
    std::uint32_t job = 0;
    BusReader reader{unitProperties};
    reader.properties([&](std::string_view key, std::string_view contents) {
        if (key == "ActiveState" && contents == "s") {
            // A unit that waits for its restart counts as activating.
            const std::string_view state = reader.text();
            isAtRest = state == "inactive" || state == "failed";
        } else if (key == "Job" && contents == "(uo)") {
            reader.structure("uo", [&] {
                job = reader.uint32();
                reader.path();
            });
        } else {
            reader.skip();
        }
    });
    return reader.fits() && (!isAtRest || job != 0);
}

}  // namespace

struct UnitWatch::Watching : std::enable_shared_from_this<Watching> {
    SessionBus& bus;
    const std::string path;
    OnAnswer onAnswer;  ///< null at the end
    BusSlot changes, question;
    bool isAsking = false;

    Watching(SessionBus& sessionBus, const std::string& unit, OnAnswer handler)
        : bus(sessionBus), path(unitPath(unit)), onAnswer(std::move(handler)) {}

    void watch() {
        const auto rule = BusMatch{}.sender(service).path(path).interface(properties).member("PropertiesChanged");
        changes = bus.match(rule.rule(), [self = weak_from_this()](const BusMessage&) {
            if (const auto alive = self.lock()) alive->ask();
        });
        // Without a subscriber the manager announces no changes.
        const BusMessage subscribe =
            bus.methodCall(service, "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager", "Subscribe");
        if (!subscribe) return;
        sd_bus_message_set_auto_start(subscribe.get(), 0);
        sd_bus_message_set_expect_reply(subscribe.get(), 0);
        bus.send(subscribe);
    }

    void ask() {
        const BusMessage getAll = bus.methodCall(service, path, properties, "GetAll");
        BusWriter{getAll}.text("org.freedesktop.systemd1.Unit");
        if (getAll) sd_bus_message_set_auto_start(getAll.get(), 0);
        isAsking = true;
        question = bus.call(getAll, [self = weak_from_this()](const BusResult& reply) {
            const auto alive = self.lock();
            if (!alive || !alive->onAnswer) return;
            alive->isAsking = false;
            OnAnswer{alive->onAnswer}(reply && isComing(*reply));
        });
    }
};

UnitWatch::UnitWatch(SessionBus& bus, const std::string& unit, OnAnswer onAnswer)
    : watching_(std::make_shared<Watching>(bus, unit, std::move(onAnswer))) {
    watching_->watch();
}

UnitWatch::~UnitWatch() {
    watching_->onAnswer = nullptr;
    watching_->changes = {};
    watching_->question = {};
}

void UnitWatch::ask() {
    if (!watching_->isAsking) watching_->ask();
}

}  // namespace larkmoor
