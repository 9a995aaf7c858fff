#include "LarkmoorPlatform/Linux/Tray/DbusMenu.h"

#include <fmt/format.h>

#include <boost/asio/post.hpp>

#include <algorithm>
#include <utility>
#include <vector>

#include "LarkmoorPlatform/Linux/Tray/DbusMenuWriting.h"

namespace larkmoor {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* interface = "com.canonical.dbusmenu";
constexpr std::chrono::milliseconds phaseDuration{500};

std::vector<std::string> readNames(BusReader& reader) {
    std::vector<std::string> names;
    reader.array("s", [&] { names.emplace_back(reader.text()); });
    return names;
}

std::vector<std::int32_t> readIds(BusReader& reader) {
    std::vector<std::int32_t> ids;
    reader.array("i", [&] { ids.push_back(reader.int32()); });
    return ids;
}

void writeIds(BusWriter& writer, const std::vector<std::int32_t>& ids) {
    writer.array("i", [&] {
        for (const std::int32_t id : ids) writer.int32(id);
    });
}

BusMessage unknownId(const BusMessage& call, std::int32_t id) {
    return BusMessage::methodError(
        call, {.name = "org.freedesktop.DBus.Error.InvalidArgs", .message = fmt::format("the menu has no row {}", id)});
}

template <class F>
BusMessage answer(const BusMessage& call, F&& fill) {
    BusMessage reply = BusMessage::methodReturn(call);
    BusWriter writer{reply};
    fill(writer);
    if (writer.fits()) return reply;
    return BusMessage::methodError(call, {.name = std::string{BusErrorName::failed}, .message = "no answer fits"});
}

}  // namespace

struct DbusMenu::Table {
    template <BusMessage (DbusMenu::*method)(const BusMessage&)>
    static int call(sd_bus_message* message, void* self, sd_bus_error* /*error*/) noexcept {
        auto& menu = *static_cast<DbusMenu*>(self);
        menu.bus_.send((menu.*method)(BusMessage::retaining(message)));
        return 1;
    }

    static int property(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* property,
                        sd_bus_message* reply, void* /*self*/, sd_bus_error* /*error*/) noexcept {
        BusWriter writer{reply};
        const std::string_view name{property};
        if (name == "Version") {
            writer.uint32(3);
        } else if (name == "TextDirection") {
            writer.text("ltr");
        } else if (name == "Status") {
            writer.text("normal");
        } else {
            writer.array("s", [] {});
        }
        return writer.fits() ? 0 : -EINVAL;
    }

    static const sd_bus_vtable rows[];
};

const sd_bus_vtable DbusMenu::Table::rows[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS("GetLayout", SD_BUS_ARGS("i", parentId, "i", recursionDepth, "as", propertyNames),
                            SD_BUS_RESULT("u", revision, "(ia{sv}av)", layout), &Table::call<&DbusMenu::getLayout>,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("GetGroupProperties", SD_BUS_ARGS("ai", ids, "as", propertyNames),
                            SD_BUS_RESULT("a(ia{sv})", properties), &Table::call<&DbusMenu::getGroupProperties>,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("GetProperty", SD_BUS_ARGS("i", id, "s", name), SD_BUS_RESULT("v", value),
                            &Table::call<&DbusMenu::getProperty>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("Event", SD_BUS_ARGS("i", id, "s", eventId, "v", data, "u", timestamp), SD_BUS_NO_RESULT,
                            &Table::call<&DbusMenu::event>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("EventGroup", SD_BUS_ARGS("a(isvu)", events), SD_BUS_RESULT("ai", idErrors),
                            &Table::call<&DbusMenu::eventGroup>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("AboutToShow", SD_BUS_ARGS("i", id), SD_BUS_RESULT("b", needUpdate),
                            &Table::call<&DbusMenu::aboutToShow>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("AboutToShowGroup", SD_BUS_ARGS("ai", ids),
                            SD_BUS_RESULT("ai", updatesNeeded, "ai", idErrors),
                            &Table::call<&DbusMenu::aboutToShowGroup>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_ARGS("ItemsPropertiesUpdated",
                            SD_BUS_ARGS("a(ia{sv})", updatedProperties, "a(ias)", removedProperties), 0),
    SD_BUS_SIGNAL_WITH_ARGS("LayoutUpdated", SD_BUS_ARGS("u", revision, "i", parent), 0),
    SD_BUS_SIGNAL_WITH_ARGS("ItemActivationRequested", SD_BUS_ARGS("i", id, "u", timestamp), 0),
    SD_BUS_PROPERTY("Version", "u", &Table::property, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("TextDirection", "s", &Table::property, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Status", "s", &Table::property, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("IconThemePath", "as", &Table::property, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END};

DbusMenu::DbusMenu(MainLoop& loop, SessionBus& bus, std::string path, TrayDialect dialect)
    : loop_(loop),
      bus_(bus),
      path_(std::move(path)),
      dialect_(dialect),
      timer_(loop),
      object_(bus.addObject(path_, interface, Table::rows, this)) {}

DbusMenu::~DbusMenu() {
    if (menu_) menu_->setObserver(nullptr);
}

void DbusMenu::setMenu(std::shared_ptr<Menu> menu) {
    if (menu == menu_) return;
    applyPresence(presence_.closed());
    if (menu_) menu_->setObserver(nullptr);
    menu_ = std::move(menu);
    if (menu_) menu_->setObserver(this);
    snapshot_ = {.firstId = snapshot_.idOf(snapshot_.rows.size()), .rows = {}};
    snapshot_ = takeSnapshot();
    ++revision_;
    const BusMessage signal = bus_.signal(path_, interface, "LayoutUpdated");
    BusWriter{signal}.uint32(revision_).int32(MenuSnapshot::rootId);
    bus_.send(signal);
}

BusMessage DbusMenu::getLayout(const BusMessage& call) {
    BusReader reader{call};
    const std::int32_t parent = reader.int32();
    const std::int32_t depth = reader.int32();
    const std::vector<std::string> names = readNames(reader);
    refresh();
    if (!snapshot_.knows(parent)) return unknownId(call, parent);
    return answer(call, [&](BusWriter& writer) {
        writer.uint32(revision_);
        writeLayout(writer, snapshot_, parent, depth, names);
    });
}

BusMessage DbusMenu::getGroupProperties(const BusMessage& call) {
    BusReader reader{call};
    std::vector<std::int32_t> ids = readIds(reader);
    const std::vector<std::string> names = readNames(reader);
    refresh();
    if (ids.empty()) {
        ids.push_back(MenuSnapshot::rootId);
        for (std::size_t row = 0; row < snapshot_.rows.size(); ++row) ids.push_back(snapshot_.idOf(row));
    }
    return answer(call, [&](BusWriter& writer) {
        writer.array("(ia{sv})", [&] {
            for (const std::int32_t id : ids)
                if (snapshot_.knows(id)) writeRow(writer, id, selected(snapshot_.propertiesOf(id), names));
        });
    });
}

BusMessage DbusMenu::getProperty(const BusMessage& call) {
    BusReader reader{call};
    const std::int32_t id = reader.int32();
    const std::string name{reader.text()};
    refresh();
    if (!snapshot_.knows(id)) return unknownId(call, id);
    const MenuProperties found = selected(snapshot_.propertiesOf(id), {name});
    if (found.empty())
        return BusMessage::methodError(call, {.name = "org.freedesktop.DBus.Error.InvalidArgs",
                                              .message = fmt::format("row {} has no {}", id, name)});
    return answer(call, [&](BusWriter& writer) { writeValue(writer, found.front()); });
}

BusMessage DbusMenu::event(const BusMessage& call) {
    BusReader reader{call};
    const std::int32_t id = reader.int32();
    if (!dispatchEvent(id, reader.text())) return unknownId(call, id);
    return BusMessage::methodReturn(call);
}

BusMessage DbusMenu::eventGroup(const BusMessage& call) {
    std::vector<std::int32_t> unknown;
    bool anyKnown = false;
    BusReader reader{call};
    reader.array("(isvu)", [&] {
        reader.structure("isvu", [&] {
            const std::int32_t id = reader.int32();
            const std::string_view what = reader.text();
            reader.skip();
            reader.uint32();
            if (!reader.fits()) return;
            if (dispatchEvent(id, what)) {
                anyKnown = true;
            } else {
                unknown.push_back(id);
            }
        });
    });
    if (!unknown.empty() && !anyKnown) return unknownId(call, unknown.front());
    return answer(call, [&](BusWriter& writer) { writeIds(writer, unknown); });
}

BusMessage DbusMenu::aboutToShow(const BusMessage& call) {
    const std::int32_t id = BusReader{call}.int32();
    if (!prepareToShow(id)) return unknownId(call, id);
    return answer(call, [](BusWriter& writer) { writer.boolean(false); });
}

BusMessage DbusMenu::aboutToShowGroup(const BusMessage& call) {
    BusReader reader{call};
    const std::vector<std::int32_t> ids = readIds(reader);
    std::vector<std::int32_t> unknown;
    std::ranges::copy_if(ids, std::back_inserter(unknown), [&](std::int32_t id) { return !prepareToShow(id); });
    if (!unknown.empty() && unknown.size() == ids.size()) return unknownId(call, unknown.front());
    return answer(call, [&](BusWriter& writer) {
        writeIds(writer, {});
        writeIds(writer, unknown);
    });
}

bool DbusMenu::dispatchEvent(std::int32_t id, std::string_view event) {
    if (!snapshot_.knows(id)) return false;
    const auto row = snapshot_.rowWith(id);
    if (row && event == "clicked") {
        click(*row);
    } else {
        applyPresence(presence_.event(event, !row, Clock::now()));
    }
    armTimer();
    return true;
}

/// What the delegate changes when the menu opens is signalled before the reply, so that the host draws it at once.
bool DbusMenu::prepareToShow(std::int32_t id) {
    if (!snapshot_.knows(id)) return false;
    if (id == MenuSnapshot::rootId) applyPresence(presence_.aboutToShow(Clock::now()));
    refresh();
    return true;
}

void DbusMenu::click(std::size_t row) {
    presence_.closed();
    boost::asio::post(loop_, [menu = std::weak_ptr{menu_}, clicked = std::weak_ptr{menu_->rows()[row]}] {
        const auto stillThere = menu.lock();
        const auto stillClicked = clicked.lock();
        if (stillThere && stillClicked) stillThere->click(*stillClicked);
    });
}

void DbusMenu::applyPresence(MenuPresence::Step step) {
    if (!menu_) return;
    switch (step) {
        case MenuPresence::Step::nothing:
            return;
        case MenuPresence::Step::opened:
            return menu_->open();
        case MenuPresence::Step::closed:
            return menu_->close();
        case MenuPresence::Step::openedAgain:
            menu_->close();
            return menu_->open();
    }
}

void DbusMenu::rowChanged(const MenuRow& /*row*/) {
    if (std::exchange(isRefreshDue_, true)) return;
    boost::asio::post(loop_, [this, alive = std::weak_ptr{alive_}] {
        if (!alive.expired() && isRefreshDue_) refresh();
    });
}

void DbusMenu::refresh() {
    isRefreshDue_ = false;
    MenuSnapshot now = takeSnapshot();
    const std::vector<MenuChange> changes = menuChanges(snapshot_, now);
    snapshot_ = std::move(now);
    armTimer();
    if (changes.empty()) return;
    const BusMessage signal = bus_.signal(path_, interface, "ItemsPropertiesUpdated");
    BusWriter writer{signal};
    writeChanges(writer, changes);
    bus_.send(signal);
}

MenuSnapshot DbusMenu::takeSnapshot() const {
    if (!menu_) return {.firstId = snapshot_.firstId, .rows = {}};
    MenuSnapshot now =
        MenuSnapshot::of(*menu_, snapshot_.firstId, {.phase = phase_, .imagePixels = dialect_.rowImagePixels});
    if (dialect_.blankLostImages) now.blankLostImages(snapshot_, dialect_.rowImagePixels);
    return now;
}

void DbusMenu::armTimer() {
    auto until = presence_.deadline();
    if (!until || !menu_ || !isAnimated(*menu_)) {
        nextPhaseAt_.reset();
    } else {
        if (!nextPhaseAt_) nextPhaseAt_ = Clock::now() + phaseDuration;
        until = std::min(*until, *nextPhaseAt_);
    }
    if (!until) {
        timer_.cancel();
        return;
    }
    timer_.expires_at(*until);
    timer_.async_wait([this, alive = std::weak_ptr{alive_}](boost::system::error_code failed) {
        if (!failed && !alive.expired()) onTimer();
    });
}

void DbusMenu::onTimer() {
    const auto now = Clock::now();
    applyPresence(presence_.expire(now));
    if (nextPhaseAt_ && *nextPhaseAt_ <= now) {
        nextPhaseAt_.reset();
        ++phase_;
    }
    refresh();
}

}  // namespace larkmoor
