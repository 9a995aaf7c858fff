// Where the understudy plays: it owns the daemon's name on the bus, serves its requests, and takes orders on a second
// interface.
#pragma once

#include <boost/asio/steady_timer.hpp>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorKit/Supervision/DaemonAgent.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/MessageServiceListener.h"
#include "Part.h"

namespace larkmoor::understudy {

class Stage {
  public:
    static constexpr const char* objectPath = "/tools/fenwright/larkmoor/understudy";
    static constexpr const char* interface = "tools.fenwright.larkmoor.Understudy";

    struct Options {
        std::string serviceName;
        std::optional<QuitSentinel> sentinel;  ///< what a shutdown leaves behind
    };

    /// `onEnd` gets the exit status, once.
    Stage(MainLoop& loop, Options options, Part part, std::function<void(int)> onEnd);

    /// Takes the name, and with it the requests.
    void open();

    // What is ordered over the bus.
    Part& part() { return part_; }
    void push(BytesView event);
    void pushFront(FrontRecording front);
    const std::deque<std::string>& log() const { return log_; }
    std::uint32_t subscribers() const { return static_cast<std::uint32_t>(subscribers_.size()); }

  private:
    void take(const MessageDictionary& request, MessageListener::Respond respond);
    void play(const GatewayRequest& request, MessageDictionary reply, MessageListener::Respond respond);
    void note(std::string line);
    void respondLater(MessageListener::Respond respond, MessageDictionary reply);
    void leave();
    static int obey(sd_bus_message* message, void* stage, sd_bus_error* error) noexcept;

    MainLoop& loop_;
    Options options_;
    Part part_;
    std::function<void(int)> onEnd_;
    std::deque<std::string> log_;
    std::vector<std::shared_ptr<MessageSubscriber>> subscribers_;
    SessionBus bus_;
    MessageServiceListener listener_;
    BusSlot orders_;
};

}  // namespace larkmoor::understudy
