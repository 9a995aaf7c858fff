// A tray host: follows every status item on the bus through the session's watcher, or as the watcher if there is none.
#pragma once

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <chrono>
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

/// Lets one coroutine wait for the next change or for a point in time. Main thread.
class Changes {
  public:
    using Time = std::chrono::steady_clock::time_point;

    explicit Changes(MainLoop& loop) : timer_(loop) {}

    void notify() {
        isPending_ = true;
        timer_.cancel();
    }

    /// Returns at once if there was a change since the last wait.
    Task<void> wait(Time until) {
        if (!isPending_) {
            timer_.expires_at(until);
            boost::system::error_code woken;
            co_await timer_.async_wait(boost::asio::redirect_error(Token{}, woken));
        }
        isPending_ = false;
    }

  private:
    using Token = boost::asio::use_awaitable_t<MainLoop::executor_type>;

    boost::asio::basic_waitable_timer<std::chrono::steady_clock, boost::asio::wait_traits<std::chrono::steady_clock>,
                                      MainLoop::executor_type>
        timer_;
    bool isPending_ = false;
};

/// Main thread; loop and bus outlive it.
class TrayHost {
  public:
    /// `onChange` is called from the loop after the items have changed.
    TrayHost(MainLoop& loop, SessionBus& bus, std::function<void()> onChange);
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;

    /// The items that were read, in the order of their registration.
    std::vector<ItemView> items() const;
    /// Whether all items that existed at the start have replied.
    bool isSettled() const;

    /// Calls of the item's menu. The item may be gone by then, which is an error.
    Task<BusResult> aboutToShow(ItemView item);
    Task<BusResult> event(ItemView item, std::int32_t row, std::string name);
    /// Reads the item's menu again.
    Task<void> refresh(ItemView item);

  private:
    struct Entry {
        ItemAddress address;
        std::string owner;  ///< the unique name behind the service
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
    bool isChangeQueued_ = false;
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
