// Shows a `Menu` to the desktop's hosts as com.canonical.dbusmenu. The rows' structure is fixed, so hosts hear of
// changed properties alone, which they apply to an open menu in place.
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
#include "LarkmoorPlatform/Linux/Tray/MenuPicture.h"
#include "LarkmoorPlatform/Linux/Tray/MenuPresence.h"
#include "LarkmoorPlatform/Menu.h"

namespace larkmoor {

/// Main thread. Loop and bus outlive it. Row actions run in a turn of the loop after the host had its answer.
class DbusMenu : private MenuObserver {
  public:
    /// Exports the object at once, so that it is there before anybody is told of it.
    DbusMenu(MainLoop& loop, SessionBus& bus, std::string path);
    ~DbusMenu() override;
    DbusMenu(const DbusMenu&) = delete;
    DbusMenu& operator=(const DbusMenu&) = delete;

    /// Another menu's rows get ids that no row had before. Null shows no rows.
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
    /// False for an id that is none of ours.
    bool happened(std::int32_t id, std::string_view event);
    bool willShow(std::int32_t id);
    void click(std::size_t row);
    void take(MenuPresence::Step step);
    /// Tells hosts what changed since they were last told, and keeps it.
    void refresh();
    MenuPicture draw() const;
    void arm();
    void wake();

    MainLoop& loop_;
    SessionBus& bus_;
    std::string path_;
    std::shared_ptr<Menu> menu_;
    MenuPicture picture_;
    MenuPresence presence_;
    std::uint32_t revision_ = 1;
    unsigned phase_ = 0;  ///< of bars that move
    std::optional<std::chrono::steady_clock::time_point> nextStep_;
    bool isRefreshDue_ = false;
    boost::asio::steady_timer timer_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);  ///< watched by what waits in the loop
    BusSlot object_;
};

}  // namespace larkmoor
