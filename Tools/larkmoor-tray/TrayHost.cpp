#include "TrayHost.h"

#include <boost/asio/post.hpp>

#include <algorithm>
#include <chrono>
#include <utility>

#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"
#include "TrayView.h"

namespace larkmoor::tray {

namespace {

constexpr const char* itemInterface = "org.kde.StatusNotifierItem";
constexpr const char* menuInterface = "com.canonical.dbusmenu";
constexpr const char* properties = "org.freedesktop.DBus.Properties";
/// Items register within milliseconds after a watcher has appeared.
constexpr std::chrono::milliseconds grace{300};

BusMessage getAll(SessionBus& bus, const ItemAddress& item) {
    const BusMessage call = bus.methodCall(item.service, item.path, properties, "GetAll");
    BusWriter{call}.text(itemInterface);
    return call;
}

BusMessage getLayout(SessionBus& bus, const std::string& service, const std::string& path) {
    const BusMessage call = bus.methodCall(service, path, menuInterface, "GetLayout");
    BusWriter{call}.int32(0).int32(-1).array("s", [] {});
    return call;
}

}  // namespace

TrayHost::TrayHost(MainLoop& loop, SessionBus& bus, std::function<void()> onChange)
    : loop_(loop), bus_(bus), onChange_(std::move(onChange)), grace_(loop) {
    const auto watcherSignal = [&](const char* member, void (TrayHost::*take)(const ItemAddress&)) {
        return bus.match(BusMatch{}.sender(watcherName).interface(watcherName).member(member).rule(),
                         [this, take](const BusMessage& message) {
                             (this->*take)(ItemAddress::of(BusReader{message}.text(), message.sender()));
                         });
    };
    registered_ = watcherSignal("StatusNotifierItemRegistered", &TrayHost::add);
    unregistered_ = watcherSignal("StatusNotifierItemUnregistered", &TrayHost::remove);
    const auto fromItem = [this](const BusMessage& message) { itemChanged(message.sender()); };
    itemSignals_ = bus.match(BusMatch{}.interface(itemInterface).rule(), fromItem);
    menuSignals_ = bus.match(BusMatch{}.interface(menuInterface).rule(), fromItem);
    watching_ = bus.watchName(watcherName, [this](const std::string& owner) { followWatcher(owner); });
}

void TrayHost::followWatcher(const std::string& owner) {
    if (owner.empty()) return becomeWatcher();
    if (owner == bus_.uniqueName()) return;
    watcher_.reset();
    readList(owner);
}

void TrayHost::becomeWatcher() {
    entries_.clear();
    changed();
    // It subscribes before it owns the name, so that it learns of the end of every item that registers.
    watcher_.reset();
    watcher_ = std::make_unique<TrayWatcher>(bus_);
    request_ = bus_.requestName(watcherName, [this](std::expected<void, BusError> got) {
        // Another watcher was faster, and the name watch reports it.
        if (!got) return watcher_.reset();
        grace_.expires_after(grace);
        grace_.async_wait([this, alive = std::weak_ptr{alive_}](boost::system::error_code failed) {
            if (failed || alive.expired()) return;
            isListed_ = true;
            changed();
        });
    });
}

void TrayHost::readList(const std::string& owner) {
    const BusMessage call = bus_.methodCall(owner, watcherPath, properties, "Get");
    BusWriter{call}.text(watcherName).text("RegisteredStatusNotifierItems");
    list_ = bus_.call(call, [this](BusResult reply) {
        entries_.clear();
        isListed_ = true;
        if (reply) {
            BusReader reader{*reply};
            reader.variant([&](std::string_view contents) {
                if (contents != "as") return reader.skip();
                reader.array("s", [&] { add(ItemAddress::of(reader.text(), {})); });
            });
        }
        changed();
    });
}

void TrayHost::add(const ItemAddress& address) {
    const auto known = std::ranges::find(entries_, address, &Entry::address);
    if (known != entries_.end()) return ask(*known);
    Entry& entry = entries_.emplace_back();
    entry.address = address;
    entry.view.service = address.service;
    entry.view.path = address.path;
    ask(entry);
}

void TrayHost::remove(const ItemAddress& address) {
    std::erase_if(entries_, [&](const Entry& entry) { return entry.address == address; });
    changed();
}

void TrayHost::ask(Entry& entry) {
    if (std::exchange(entry.isAsked, true)) {
        entry.isStale = true;
        return;
    }
    entry.isStale = false;
    entry.properties = bus_.call(getAll(bus_, entry.address), [this, &entry](BusResult reply) {
        if (!reply) return remove(ItemAddress{entry.address});
        entry.owner = reply->sender();
        readItem(*reply, entry.view);
        askLayout(entry);
    });
}

void TrayHost::askLayout(Entry& entry) {
    if (entry.view.menuPath.size() < 2) return answered(entry);
    const BusMessage call = getLayout(bus_, entry.address.service, entry.view.menuPath);
    entry.layout = bus_.call(call, [this, &entry](BusResult reply) {
        if (reply) entry.view.rows = readLayout(*reply);
        answered(entry);
    });
}

void TrayHost::answered(Entry& entry) {
    entry.isRead = true;
    entry.isAsked = false;
    if (entry.isStale) ask(entry);
    changed();
}

void TrayHost::itemChanged(const std::string& sender) {
    for (Entry& entry : entries_)
        if (entry.owner == sender || entry.address.service == sender) ask(entry);
}

void TrayHost::changed() {
    if (std::exchange(isChangeQueued_, true)) return;
    boost::asio::post(loop_, [this, alive = std::weak_ptr{alive_}] {
        if (alive.expired()) return;
        isChangeQueued_ = false;
        onChange_();
    });
}

std::vector<ItemView> TrayHost::items() const {
    std::vector<ItemView> views;
    for (const Entry& entry : entries_)
        if (entry.isRead) views.push_back(entry.view);
    return views;
}

bool TrayHost::isSettled() const { return isListed_ && std::ranges::all_of(entries_, &Entry::isRead); }

Task<BusResult> TrayHost::aboutToShow(ItemView item) {
    const BusMessage call = bus_.methodCall(item.service, item.menuPath, menuInterface, "AboutToShow");
    BusWriter{call}.int32(0);
    co_return co_await bus_.call(call);
}

Task<BusResult> TrayHost::event(ItemView item, std::int32_t row, std::string name) {
    const BusMessage call = bus_.methodCall(item.service, item.menuPath, menuInterface, "Event");
    BusWriter writer{call};
    writer.int32(row).text(name).variant("i", [&] { writer.int32(0); }).uint32(0);
    co_return co_await bus_.call(call);
}

Task<void> TrayHost::refresh(ItemView item) {
    const BusResult layout = co_await bus_.call(getLayout(bus_, item.service, item.menuPath));
    if (!layout) co_return;
    for (Entry& entry : entries_)
        if (entry.view.service == item.service && entry.view.path == item.path) entry.view.rows = readLayout(*layout);
}

}  // namespace larkmoor::tray
