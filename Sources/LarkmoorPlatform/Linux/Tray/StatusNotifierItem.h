// The status item as org.kde.StatusNotifierItem, with its menu as com.canonical.dbusmenu on the same connection.
#pragma once

#include <memory>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/Tray/DbusMenu.h"
#include "LarkmoorPlatform/Linux/Tray/StatusLook.h"
#include "LarkmoorPlatform/StatusItem.h"

namespace larkmoor {

/// Main thread. Loop and bus outlive it. Registers with each watcher that appears on the bus, for as long as it lives;
/// hosts take it away when it does not answer any more.
class StatusNotifierItem : public StatusItem {
  public:
    struct Options {
        std::string title;          ///< the product's name, said until the first icon is set
        std::string iconThemePath;  ///< a folder that holds "hicolor"; some hosts show nothing for a name not found
    };

    StatusNotifierItem(MainLoop& loop, SessionBus& bus, Options options);
    StatusNotifierItem(const StatusNotifierItem&) = delete;
    StatusNotifierItem& operator=(const StatusNotifierItem&) = delete;

    void setIcon(StatusIcon icon, std::string label) override;
    void setMenu(std::shared_ptr<Menu> menu) override;

    /// What the host gave for the click under way, so that a window opened by it may come to the front
    /// ($XDG_ACTIVATION_TOKEN); it serves once, so this empties it.
    std::string takeActivationToken();

  private:
    struct Table;

    void registerWith(const std::string& watcher);
    void emit(const std::string& signal);

    SessionBus& bus_;
    std::string iconThemePath_;
    StatusIcon icon_ = StatusIcon::trailFilled;
    StatusLook look_;
    std::string activationToken_;
    DbusMenu menu_;
    BusSlot object_;
    BusNameWatch watcher_;
};

}  // namespace larkmoor
