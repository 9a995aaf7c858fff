#include "LarkmoorPlatform/Linux/Applications/SingleInstance.h"

#include <algorithm>

namespace larkmoor {

namespace {

constexpr const char* interface = "org.freedesktop.Application";

std::string pathOf(const std::string& name) {
    std::string path = "/" + name;
    std::ranges::replace(path, '.', '/');
    std::ranges::replace(path, '-', '_');
    return path;
}

}  // namespace

SingleInstance::SingleInstance(SessionBus& bus, std::string name, Answers answers)
    : bus_(bus), name_(std::move(name)), path_(pathOf(name_)), answers_(std::move(answers)) {
    static const sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Activate", "a{sv}", "", &SingleInstance::activate, SD_BUS_VTABLE_UNPRIVILEGED),
        // There are no documents and no actions: both only ask for the application itself.
        SD_BUS_METHOD("Open", "asa{sv}", "", &SingleInstance::activate, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("ActivateAction", "sava{sv}", "", &SingleInstance::activate, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
    };
    object_ = bus_.addObject(path_, interface, table, this);
    claim(std::nullopt);
}

/// `failure` is what came of the other instance's activation, after which the name may be free.
void SingleInstance::claim(std::optional<BusError> failure) {
    claim_ = bus_.requestName(name_, [this, failure](const std::expected<void, BusError>& granted) {
        if (granted) return answers_.onOwned();
        if (granted.error().name != BusErrorName::nameTaken) return answers_.onFailure(granted.error());
        if (!failure) return activateOther();
        if (failure->name == BusErrorName::noReply) return answers_.onOther(Other::silent);
        answers_.onFailure(*failure);
    });
}

int SingleInstance::activate(sd_bus_message* call, void* self, sd_bus_error*) {
    const int sent = sd_bus_reply_method_return(call, "");
    static_cast<SingleInstance*>(self)->answers_.onActivated();
    return sent < 0 ? sent : 1;
}

void SingleInstance::activateOther() {
    const BusMessage call = bus_.methodCall(name_, path_, interface, "Activate");
    BusWriter{call}.array("{sv}", [] {});
    const auto onReply = [this](const BusResult& reply) {
        if (reply) return answers_.onOther(Other::activated);
        claim(reply.error());
    };
    activation_ = bus_.call(call, onReply, activationTimeout);
}

}  // namespace larkmoor
