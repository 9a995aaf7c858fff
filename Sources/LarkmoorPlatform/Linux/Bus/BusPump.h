// Drives one sd-bus connection from the main loop: the implementation of `SessionBus`.
#pragma once

#include <systemd/sd-bus.h>

#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/posix/basic_stream_descriptor.hpp>

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"

namespace larkmoor {

class BusPump : public std::enable_shared_from_this<BusPump> {
  public:
    /// A call that waits for its reply.
    struct Pending {
        std::function<void(BusResult)> reply;
        bool failsAtClose = false;  ///< for a coroutine, which must be resumed; plain callbacks are dropped
    };

    explicit BusPump(MainLoop& loop);
    ~BusPump();
    BusPump(const BusPump&) = delete;
    BusPump& operator=(const BusPump&) = delete;

    /// Starts to connect; a failure is reported through `onLost`, in a later turn of the loop.
    void start(const std::string& address, bool isBus = true);
    void close();

    BusSlot call(const BusMessage& message, Pending pending, std::chrono::microseconds timeout);
    /// Processes messages in a later turn of the loop; repeated calls count once.
    void schedule();

    sd_bus* bus() const { return bus_; }
    MainLoop& loop() const { return loop_; }
    bool isLost() const { return isLost_; }
    bool wasReady() const { return wasReady_; }

    std::function<void(const BusError&)> onLost;

  private:
    using Executor = MainLoop::executor_type;
    struct PendingCall;

    void process();
    void waitForEvents();
    void watchDescriptor(int descriptor);
    void waitFor(short events);
    void waitUntil(std::uint64_t microseconds);
    void disconnect(const BusError& error);
    Pending remove(PendingCall& call);
    BusSlot failLater(Pending pending, BusError error);
    static int onReply(sd_bus_message* message, void* call, sd_bus_error* error) noexcept;

    MainLoop& loop_;
    sd_bus* bus_ = nullptr;
    boost::asio::posix::basic_stream_descriptor<Executor> descriptor_;
    boost::asio::basic_waitable_timer<std::chrono::steady_clock, boost::asio::wait_traits<std::chrono::steady_clock>,
                                      Executor>
        timer_;
    std::list<PendingCall*> pending_;
    std::uint64_t wakeAt_ = UINT64_MAX;  ///< what `timer_` waits for, in microseconds of the monotonic clock
    bool isScheduled_ = false;
    bool isWaitingToRead_ = false;
    bool isWaitingToWrite_ = false;
    bool isLost_ = false;
    bool wasReady_ = false;
    bool isClosed_ = false;
};

}  // namespace larkmoor
