// Sees every status item on the bus: through the watcher that is there, or as the watcher where there is none.
#pragma once

#include <boost/asio/steady_timer.hpp>

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "TrayView.h"
#include "TrayWatcher.h"

namespace larkmoor::tray {

/// Main thread; loop and bus outlive it.
class TrayHost {
  public:
    /// `onChange` is called in a turn of the loop after anything below may answer otherwise.
    TrayHost(MainLoop& loop, SessionBus& bus, std::function<void()> onChange);
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;

    /// Those whose picture was read, in the order in which they registered.
    std::vector<ItemView> items() const;
    /// Whether all that was there at the beginning was asked and has answered.
    bool isSettled() const;

    /// What a host says of the menu; the answer is empty if the menu said no. The item may be gone by then.
    Task<BusResult> aboutToShow(ItemView item);
    Task<BusResult> event(ItemView item, std::int32_t row, std::string name);
    /// Reads the item again and waits for its answer.
    Task<void> refresh(ItemView item);

  private:
    struct Entry {
        ItemAddress address;
        std::string owner;  ///< the unique name that answers
        ItemView view;
        bool isRead = false;
        bool isAsked = false;
        bool isStale = false;  ///< something changed since it was asked
        BusSlot properties;
        BusSlot layout;
    };

    void followWatcher(const std::string& owner);
    void becomeWatcher();
    void readList(const std::string& owner);
    void add(const ItemAddress& address);
    void remove(const ItemAddress& address);
    void ask(Entry& entry);
    void askLayout(Entry& entry);
    void answered(Entry& entry);
    void itemChanged(const std::string& sender);
    void changed();

    MainLoop& loop_;
    SessionBus& bus_;
    std::function<void()> onChange_;
    std::unique_ptr<TrayWatcher> watcher_;
    std::list<Entry> entries_;
    bool isListed_ = false;
    bool isTelling_ = false;
    boost::asio::steady_timer grace_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    BusSlot registered_;
    BusSlot unregistered_;
    BusSlot itemSignals_;
    BusSlot menuSignals_;
    BusSlot request_;
    BusSlot list_;
    BusNameWatch watching_;
};

}  // namespace larkmoor::tray
