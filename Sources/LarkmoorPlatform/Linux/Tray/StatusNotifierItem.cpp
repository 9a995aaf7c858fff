#include "LarkmoorPlatform/Linux/Tray/StatusNotifierItem.h"

#include <cerrno>
#include <string_view>
#include <utility>

#include "LarkmoorPlatform/Linux/Tray/MenuText.h"
#include "LarkmoorPlatform/Linux/Tray/TrayImages.h"

namespace larkmoor {

std::string_view iconName(StatusIcon icon) {
    switch (icon) {
        case StatusIcon::trailFilled:
            return "larkmoor-trail-filled-symbolic";
        case StatusIcon::trailHollow:
            return "larkmoor-trail-hollow-symbolic";
        case StatusIcon::attention:
            return "larkmoor-attention-symbolic";
    }
    return {};
}

StatusAppearance StatusAppearance::of(StatusIcon icon, std::string_view label) {
    return {.iconName = std::string{larkmoor::iconName(icon)},
            .status = icon == StatusIcon::attention ? "NeedsAttention" : "Active",
            .label = MenuText::cleaned(label),
            .headline = MenuText::withoutMarkup(label)};
}

std::vector<std::string_view> signalsBetween(const StatusAppearance& before, const StatusAppearance& after) {
    std::vector<std::string_view> signals;
    // Hosts re-read the accessible name together with the icon.
    if (before.iconName != after.iconName || before.label != after.label) signals.push_back("NewIcon");
    if (after.status == "NeedsAttention" && before != after) signals.push_back("NewAttentionIcon");
    if (before.status != after.status) signals.push_back("NewStatus");
    if (before.headline != after.headline) {
        signals.push_back("NewTitle");
        signals.push_back("NewToolTip");
    }
    return signals;
}

namespace {

constexpr const char* interface = "org.kde.StatusNotifierItem";
/// Cinnamon opens the menu by a left click only for items below this path. The others take any.
constexpr const char* itemPath = "/org/ayatana/NotificationItem/larkmoor";
constexpr const char* menuPath = "/MenuBar";
constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";
constexpr const char* watcherPath = "/StatusNotifierWatcher";
/// Hosts store the user's settings of an item under its id, so it must never change.
constexpr const char* itemId = "larkmoor";

void writePixmaps(BusWriter& writer, const std::vector<Pixmap>& pixmaps) {
    writer.array("(iiay)", [&] {
        for (const Pixmap& pixmap : pixmaps)
            writer.structure("iiay", [&] { writer.int32(pixmap.side).int32(pixmap.side).bytes(pixmap.pixels); });
    });
}

void writeToolTip(BusWriter& writer, const std::string& headline) {
    writer.structure("sa(iiay)ss", [&] {
        writer.text("");
        writePixmaps(writer, {});
        writer.text(headline).text("");
    });
}

}  // namespace

struct StatusNotifierItem::Table {
    static int ignore(sd_bus_message* message, void* self, sd_bus_error* /*error*/) noexcept {
        const BusMessage call = BusMessage::retaining(message);
        static_cast<StatusNotifierItem*>(self)->bus_.send(BusMessage::methodReturn(call));
        return 1;
    }

    static int keepToken(sd_bus_message* message, void* self, sd_bus_error* error) noexcept {
        static_cast<StatusNotifierItem*>(self)->activationToken_ = BusReader{message}.text();
        return ignore(message, self, error);
    }

    template <class Write>
    static int property(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* /*name*/,
                        sd_bus_message* reply, void* self, sd_bus_error* /*error*/) noexcept {
        BusWriter writer{reply};
        Write{}(*static_cast<const StatusNotifierItem*>(self), writer);
        return writer.fits() ? 0 : -EINVAL;
    }

    /// `Write` takes the item and the writer of the answer.
    template <class Write>
    static sd_bus_vtable fixed(const char* name, const char* signature, Write /*write*/) {
        return SD_BUS_PROPERTY(name, signature, &property<Write>, 0, SD_BUS_VTABLE_PROPERTY_CONST);
    }
    template <class Write>
    static sd_bus_vtable changing(const char* name, const char* signature, Write /*write*/) {
        return SD_BUS_PROPERTY(name, signature, &property<Write>, 0, 0);
    }

    static const sd_bus_vtable rows[];
};

// No Activate: without it hosts open the menu at once; with it some wait for a double click first.
const sd_bus_vtable StatusNotifierItem::Table::rows[] = {
    SD_BUS_VTABLE_START(0),
    fixed("Category", "s", [](auto&, auto& out) { out.text("ApplicationStatus"); }),
    fixed("Id", "s", [](auto&, auto& out) { out.text(itemId); }),
    changing("Title", "s", [](auto& item, auto& out) { out.text(item.appearance_.headline); }),
    changing("Status", "s", [](auto& item, auto& out) { out.text(item.appearance_.status); }),
    fixed("WindowId", "i", [](auto&, auto& out) { out.int32(0); }),
    fixed("IconThemePath", "s", [](auto& item, auto& out) { out.text(item.iconThemePath_); }),
    changing("IconName", "s", [](auto& item, auto& out) { out.text(item.appearance_.iconName); }),
    changing("IconPixmap", "a(iiay)", [](auto& item, auto& out) { writePixmaps(out, glyphPixmaps(item.icon_)); }),
    changing("IconAccessibleDesc", "s", [](auto& item, auto& out) { out.text(item.appearance_.label); }),
    fixed("OverlayIconName", "s", [](auto&, auto& out) { out.text(""); }),
    fixed("OverlayIconPixmap", "a(iiay)", [](auto&, auto& out) { writePixmaps(out, {}); }),
    fixed("AttentionIconName", "s", [](auto&, auto& out) { out.text(std::string{iconName(StatusIcon::attention)}); }),
    fixed("AttentionIconPixmap", "a(iiay)",
          [](auto&, auto& out) { writePixmaps(out, glyphPixmaps(StatusIcon::attention)); }),
    changing("AttentionAccessibleDesc", "s", [](auto& item, auto& out) { out.text(item.appearance_.label); }),
    fixed("AttentionMovieName", "s", [](auto&, auto& out) { out.text(""); }),
    changing("ToolTip", "(sa(iiay)ss)", [](auto& item, auto& out) { writeToolTip(out, item.appearance_.headline); }),
    fixed("ItemIsMenu", "b", [](auto&, auto& out) { out.boolean(true); }),
    fixed("Menu", "o", [](auto&, auto& out) { out.path(menuPath); }),
    SD_BUS_METHOD_WITH_ARGS("ContextMenu", SD_BUS_ARGS("i", x, "i", y), SD_BUS_NO_RESULT, &Table::ignore,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("SecondaryActivate", SD_BUS_ARGS("i", x, "i", y), SD_BUS_NO_RESULT, &Table::ignore,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("Scroll", SD_BUS_ARGS("i", delta, "s", orientation), SD_BUS_NO_RESULT, &Table::ignore,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("ProvideXdgActivationToken", SD_BUS_ARGS("s", token), SD_BUS_NO_RESULT, &Table::keepToken,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL("NewTitle", "", 0),
    SD_BUS_SIGNAL("NewIcon", "", 0),
    SD_BUS_SIGNAL("NewAttentionIcon", "", 0),
    SD_BUS_SIGNAL("NewOverlayIcon", "", 0),
    SD_BUS_SIGNAL("NewToolTip", "", 0),
    SD_BUS_SIGNAL_WITH_ARGS("NewStatus", SD_BUS_ARGS("s", status), 0),
    SD_BUS_VTABLE_END};

StatusNotifierItem::StatusNotifierItem(MainLoop& loop, SessionBus& bus, Options options)
    : bus_(bus),
      iconThemePath_(options.dialect.ownIcons ? std::move(options.iconThemePath) : ""),
      appearance_(StatusAppearance::of(icon_, options.title)),
      menu_(loop, bus, menuPath, options.dialect),
      object_(bus.addObject(itemPath, interface, Table::rows, this)),
      // After item and menu were exported: hosts read both as soon as the watcher announces the item.
      watcher_(bus.watchName(watcherName, [this](const std::string& owner) { registerWith(owner); })) {}

void StatusNotifierItem::setIcon(StatusIcon icon, std::string label) {
    const StatusAppearance before = std::exchange(appearance_, StatusAppearance::of(icon, label));
    icon_ = icon;
    for (const std::string_view signal : signalsBetween(before, appearance_)) emit(std::string{signal});
}

void StatusNotifierItem::setMenu(std::shared_ptr<Menu> menu) { menu_.setMenu(std::move(menu)); }

std::string StatusNotifierItem::takeActivationToken() { return std::exchange(activationToken_, {}); }

/// A new watcher may replace another without a gap, and starts with an empty list.
void StatusNotifierItem::registerWith(const std::string& watcher) {
    if (watcher.empty()) return;
    const BusMessage call = bus_.methodCall(watcher, watcherPath, watcherName, "RegisterStatusNotifierItem");
    // A path instead of a bus name stands for the sender's.
    BusWriter{call}.text(itemPath);
    bus_.send(call);
}

void StatusNotifierItem::emit(const std::string& signal) {
    const BusMessage message = bus_.signal(itemPath, interface, signal);
    if (signal == "NewStatus") BusWriter{message}.text(appearance_.status);
    bus_.send(message);
}

}  // namespace larkmoor
