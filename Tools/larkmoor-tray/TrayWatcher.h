// The watcher that a desktop without a panel lacks: it knows the items on the bus and tells hosts of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

namespace larkmoor::tray {

inline constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";
inline constexpr const char* watcherPath = "/StatusNotifierWatcher";

/// "service/path" taken apart, where either may be missing.
struct ItemAddress {
    std::string service;
    std::string path;

    static ItemAddress of(std::string_view registered, const std::string& sender);
    std::string text() const { return service + path; }
    bool operator==(const ItemAddress&) const = default;
};

/// Serves the watcher's object from its making on; whoever makes it asks for the watcher's name after that. Main
/// thread; the bus outlives it.
class TrayWatcher {
  public:
    explicit TrayWatcher(SessionBus& bus);
    TrayWatcher(const TrayWatcher&) = delete;
    TrayWatcher& operator=(const TrayWatcher&) = delete;

  private:
    struct Table;

    void registerItem(const ItemAddress& item);
    void vanished(std::string_view name);
    void tell(const std::string& member, const std::string& item);

    SessionBus& bus_;
    std::vector<ItemAddress> items_;
    BusSlot object_;
    BusSlot vanishing_;
};

}  // namespace larkmoor::tray
