// The stand-in's D-Bus side: owns the daemon's name, serves its requests, and accepts commands on a second interface.
#pragma once

#include <boost/asio/steady_timer.hpp>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DaemonModel.h"
#include "LarkmoorBase/Task.h"
#include "LarkmoorKit/Supervision/DaemonAgent.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "message-listener/MessageListener.h"

namespace larkmoor::understudy {

class DaemonServer {
  public:
    static constexpr const char* objectPath = "/tools/fenwright/larkmoor/understudy";
    static constexpr const char* interface = "tools.fenwright.larkmoor.Understudy";

    struct Options {
        std::string serviceName;
        std::optional<QuitSentinel> sentinel;  ///< created by a shutdown request
    };

    /// `onEnd` is called once, with the exit status.
    DaemonServer(MainLoop& loop, Options options, DaemonModel model, std::function<void(int)> onEnd);

    /// Requests the name and starts to serve.
    void open();

    // For the commands.
    DaemonModel& model() { return model_; }
    void push(BytesView event);
    void pushFront(FrontRecording front);
    const std::deque<std::string>& log() const { return log_; }
    std::uint32_t subscribers() const { return static_cast<std::uint32_t>(subscribers_.size()); }

  private:
    void onRequest(const MessageDictionary& request, MessageListener::Respond respond);
    void respondTo(const GatewayRequest& request, MessageDictionary reply, MessageListener::Respond respond);
    void note(std::string line);
    void respondLater(MessageListener::Respond respond, MessageDictionary reply);
    void exit();
    static int dispatch(sd_bus_message* message, void* server, sd_bus_error* error) noexcept;

    MainLoop& loop_;
    Options options_;
    DaemonModel model_;
    std::function<void(int)> onEnd_;
    std::deque<std::string> log_;
    std::vector<std::shared_ptr<MessageSubscriber>> subscribers_;
    SessionBus bus_;
    MessageListener listener_;
    BusSlot commands_;
};

}  // namespace larkmoor::understudy
