// Requests that are sent and forgotten, such as lines for the daemon's log.
#pragma once

#include <boost/asio/redirect_error.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Spawn.h"
#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

/// Never blocks: a request is lost if the daemon cannot be reached. Main thread.
template <class Request>
class RequestRelay {
  public:
    using Ask = std::function<Task<GatewayResponse>(Request)>;

    RequestRelay(MainLoop& loop, Ask ask)
        : loop_(loop), line_(std::make_shared<Line>(std::move(ask), MainTimer{loop.get_executor()})) {}

    /// Asks through `client`; `Case` is the case of `GatewayRequest` that carries the request.
    template <class Case>
    static Ask through(std::shared_ptr<LarkmoorClient> client) {
        return [client = std::move(client)](Request request) { return client->send(Case{std::move(request)}); };
    }

    /// Returns at once; the answer is ignored.
    void send(Request request) const {
        ++line_->underWay;
        spawn(loop_, std::weak_ptr{line_}, [request = std::move(request)](Line& line) -> Task<void> {
            static_cast<void>(co_await line.ask(request));
            if (--line.underWay == 0) line.patience.cancel();
        });
    }

    /// Ends when whatever was sent is answered or lost, or when `patience` is over. One task at a time.
    Task<void> delivered(std::chrono::milliseconds patience) const {
        if (line_->underWay == 0) co_return;
        line_->patience.expires_after(patience);
        boost::system::error_code isQuiet;
        co_await line_->patience.async_wait(boost::asio::redirect_error(awaiting, isQuiet));
    }

  private:
    struct Line {
        Ask ask;
        MainTimer patience;
        int underWay = 0;
    };

    MainLoop& loop_;
    std::shared_ptr<Line> line_;
};

}  // namespace larkmoor
