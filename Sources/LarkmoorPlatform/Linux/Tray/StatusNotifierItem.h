// The status item as org.kde.StatusNotifierItem, with its menu as com.canonical.dbusmenu on the same connection.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/Tray/DbusMenu.h"
#include "LarkmoorPlatform/Linux/Tray/TrayDialect.h"
#include "LarkmoorPlatform/StatusItem.h"

namespace larkmoor {

/// The item's variable properties. Pure.
struct StatusAppearance {
    std::string iconName;
    std::string status;    ///< "Active" or "NeedsAttention"
    std::string label;     ///< the accessible name
    std::string headline;  ///< the label without markup characters, for title and tooltip

    static StatusAppearance of(StatusIcon icon, std::string_view label);

    bool operator==(const StatusAppearance&) const = default;
};

/// The name in the icon theme, such as "larkmoor-trail-filled-symbolic".
std::string_view iconName(StatusIcon icon);

/// The signals for a change, to be sent after the properties have changed. Attention changes the icon too, since some
/// hosts do not repaint for NewStatus alone.
std::vector<std::string_view> signalsBetween(const StatusAppearance& before, const StatusAppearance& after);

/// Main thread. Loop and bus must outlive it. Registers with every watcher that appears on the bus; hosts remove it
/// when its connection is gone.
class StatusNotifierItem : public StatusItem {
  public:
    struct Options {
        std::string title;          ///< the label until the first `setIcon`
        std::string iconThemePath;  ///< the folder with the icons; some hosts need it to find them by name
        TrayDialect dialect{};
    };

    StatusNotifierItem(MainLoop& loop, SessionBus& bus, Options options);
    StatusNotifierItem(const StatusNotifierItem&) = delete;
    StatusNotifierItem& operator=(const StatusNotifierItem&) = delete;

    void setIcon(StatusIcon icon, std::string label) override;
    void setMenu(std::shared_ptr<Menu> menu) override;

    /// The activation token of the current click, which lets a window that it opens come to the front; empty for none.
    /// It can be used once, so this clears it.
    std::string takeActivationToken();

  private:
    struct Table;

    void registerWith(const std::string& watcher);
    void emit(const std::string& signal);

    SessionBus& bus_;
    std::string iconThemePath_;
    StatusIcon icon_ = StatusIcon::trailFilled;
    StatusAppearance appearance_;
    std::string activationToken_;
    DbusMenu menu_;
    BusSlot object_;
    BusNameWatch watcher_;
};

}  // namespace larkmoor
