#include "TrayWatcher.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"

namespace larkmoor::tray {

ItemAddress ItemAddress::of(std::string_view registered, const std::string& sender) {
    constexpr std::string_view usualPath = "/StatusNotifierItem";
    const std::size_t slash = registered.find('/');
    std::string_view service = registered.substr(0, slash);
    // As the watcher of GNOME's extension lists an item that registered by its path.
    if (service.ends_with('@')) service.remove_suffix(1);
    const std::string_view path = slash == std::string_view::npos ? usualPath : registered.substr(slash);
    return {.service = service.empty() ? sender : std::string{service}, .path = std::string{path}};
}

struct TrayWatcher::Table {
    static int registerItem(sd_bus_message* message, void* self, sd_bus_error* /*error*/) noexcept {
        auto& watcher = *static_cast<TrayWatcher*>(self);
        const BusMessage call = BusMessage::retaining(message);
        watcher.bus_.send(BusMessage::methodReturn(call));
        watcher.registerItem(ItemAddress::of(BusReader{call}.text(), call.sender()));
        return 1;
    }

    static int registerHost(sd_bus_message* message, void* self, sd_bus_error* /*error*/) noexcept {
        auto& watcher = *static_cast<TrayWatcher*>(self);
        watcher.bus_.send(BusMessage::methodReturn(BusMessage::retaining(message)));
        watcher.bus_.send(watcher.bus_.signal(watcherPath, watcherName, "StatusNotifierHostRegistered"));
        return 1;
    }

    static int property(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* property,
                        sd_bus_message* reply, void* self, sd_bus_error* /*error*/) noexcept {
        BusWriter writer{reply};
        const std::string_view name{property};
        if (name == "ProtocolVersion") {
            writer.int32(0);
        } else if (name == "IsStatusNotifierHostRegistered") {
            writer.boolean(true);
        } else {
            writer.array("s", [&] {
                for (const ItemAddress& item : static_cast<TrayWatcher*>(self)->items_) writer.text(item.text());
            });
        }
        return writer.fits() ? 0 : -EINVAL;
    }

    static const sd_bus_vtable rows[];
};

const sd_bus_vtable TrayWatcher::Table::rows[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS("RegisterStatusNotifierItem", SD_BUS_ARGS("s", service), SD_BUS_NO_RESULT,
                            &Table::registerItem, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("RegisterStatusNotifierHost", SD_BUS_ARGS("s", service), SD_BUS_NO_RESULT,
                            &Table::registerHost, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("RegisteredStatusNotifierItems", "as", &Table::property, 0, 0),
    SD_BUS_PROPERTY("IsStatusNotifierHostRegistered", "b", &Table::property, 0, 0),
    SD_BUS_PROPERTY("ProtocolVersion", "i", &Table::property, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_SIGNAL_WITH_ARGS("StatusNotifierItemRegistered", SD_BUS_ARGS("s", service), 0),
    SD_BUS_SIGNAL_WITH_ARGS("StatusNotifierItemUnregistered", SD_BUS_ARGS("s", service), 0),
    SD_BUS_SIGNAL("StatusNotifierHostRegistered", "", 0),
    SD_BUS_VTABLE_END};

TrayWatcher::TrayWatcher(SessionBus& bus)
    : bus_(bus),
      object_(bus.addObject(watcherPath, watcherName, Table::rows, this)),
      vanishing_(bus.match(BusMatch{}
                               .sender("org.freedesktop.DBus")
                               .interface("org.freedesktop.DBus")
                               .member("NameOwnerChanged")
                               .argument(2, "")
                               .rule(),
                           [this](const BusMessage& message) { onNameVanished(BusReader{message}.text()); })) {}

void TrayWatcher::registerItem(const ItemAddress& item) {
    if (std::ranges::find(items_, item) != items_.end()) return;
    items_.push_back(item);
    emit("StatusNotifierItemRegistered", item.text());
}

void TrayWatcher::onNameVanished(std::string_view name) {
    std::vector<ItemAddress> lost;
    std::ranges::copy_if(items_, std::back_inserter(lost),
                         [&](const ItemAddress& item) { return item.service == name; });
    std::erase_if(items_, [&](const ItemAddress& item) { return item.service == name; });
    for (const ItemAddress& item : lost) emit("StatusNotifierItemUnregistered", item.text());
}

void TrayWatcher::emit(const std::string& member, const std::string& item) {
    const BusMessage signal = bus_.signal(watcherPath, watcherName, member);
    BusWriter{signal}.text(item);
    bus_.send(signal);
}

}  // namespace larkmoor::tray
