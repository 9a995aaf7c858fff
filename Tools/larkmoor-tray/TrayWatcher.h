// A StatusNotifierWatcher, for sessions without a panel: keeps the list of items and announces them to hosts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

namespace larkmoor::tray {

inline constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";
inline constexpr const char* watcherPath = "/StatusNotifierWatcher";

/// "service/path", where either part may be missing.
struct ItemAddress {
    std::string service;
    std::string path;

    static ItemAddress of(std::string_view registered, const std::string& sender);
    std::string text() const { return service + path; }
    bool operator==(const ItemAddress&) const = default;
};

/// Exports the watcher's object; its creator requests the watcher's name afterwards. Main thread; the bus outlives it.
class TrayWatcher {
  public:
    explicit TrayWatcher(SessionBus& bus);
    TrayWatcher(const TrayWatcher&) = delete;
    TrayWatcher& operator=(const TrayWatcher&) = delete;

  private:
    struct Table;

    void registerItem(const ItemAddress& item);
    void onNameVanished(std::string_view name);
    void emit(const std::string& member, const std::string& item);

    SessionBus& bus_;
    std::vector<ItemAddress> items_;
    BusSlot object_;
    BusSlot vanishing_;
};

}  // namespace larkmoor::tray
