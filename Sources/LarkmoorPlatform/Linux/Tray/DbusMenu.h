// Exports a `Menu` as com.canonical.dbusmenu. The set of rows is fixed, so that only property changes are signalled,
// which hosts apply to an open menu in place.
#pragma once

#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/Tray/MenuPresence.h"
#include "LarkmoorPlatform/Linux/Tray/MenuSnapshot.h"
#include "LarkmoorPlatform/Linux/Tray/TrayDialect.h"
#include "LarkmoorPlatform/Menu.h"

namespace larkmoor {

/// Main thread. Loop and bus must outlive it. Row actions run in a later turn of the loop, after the host got its
/// reply.
class DbusMenu : private MenuObserver {
  public:
    /// Exports the object at once, so that it exists before the item is registered.
    DbusMenu(MainLoop& loop, SessionBus& bus, std::string path, TrayDialect dialect = {});
    ~DbusMenu() override;
    DbusMenu(const DbusMenu&) = delete;
    DbusMenu& operator=(const DbusMenu&) = delete;

    /// The rows of another menu get new ids, never used before. Null shows no rows.
    void setMenu(std::shared_ptr<Menu> menu);

    const std::string& path() const { return path_; }

  private:
    struct Table;

    BusMessage getLayout(const BusMessage& call);
    BusMessage getGroupProperties(const BusMessage& call);
    BusMessage getProperty(const BusMessage& call);
    BusMessage event(const BusMessage& call);
    BusMessage eventGroup(const BusMessage& call);
    BusMessage aboutToShow(const BusMessage& call);
    BusMessage aboutToShowGroup(const BusMessage& call);

    void rowChanged(const MenuRow& row) override;
    /// False for an unknown id.
    bool dispatchEvent(std::int32_t id, std::string_view event);
    bool prepareToShow(std::int32_t id);
    void click(std::size_t row);
    void applyPresence(MenuPresence::Step step);
    /// Takes a new snapshot and signals what changed since the last one.
    void refresh();
    MenuSnapshot takeSnapshot() const;
    void armTimer();
    void onTimer();

    MainLoop& loop_;
    SessionBus& bus_;
    std::string path_;
    TrayDialect dialect_;
    std::shared_ptr<Menu> menu_;
    MenuSnapshot snapshot_;
    MenuPresence presence_;
    std::uint32_t revision_ = 1;
    unsigned phase_ = 0;  ///< of animated bars
    std::optional<std::chrono::steady_clock::time_point> nextPhaseAt_;
    bool isRefreshDue_ = false;
    boost::asio::steady_timer timer_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);  ///< held weakly by callbacks on the loop
    BusSlot object_;
};

}  // namespace larkmoor
