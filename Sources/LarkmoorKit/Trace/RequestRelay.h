// Requests that are sent and forgotten, such as lines for the daemon's log.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "LarkmoorPlatform/Spawn.h"
#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

/// Never blocks: a request is lost if the daemon cannot be reached. Main thread.
template <class Request>
class RequestRelay {
  public:
    using Ask = std::function<Task<GatewayResponse>(Request)>;

    RequestRelay(MainLoop& loop, Ask ask) : loop_(loop), ask_(std::make_shared<const Ask>(std::move(ask))) {}

    /// Asks through `client`; `Case` is the case of `GatewayRequest` that carries the request.
    template <class Case>
    static Ask through(std::shared_ptr<LarkmoorClient> client) {
        return [client = std::move(client)](Request request) { return client->send(Case{std::move(request)}); };
    }

    /// Returns at once; the answer is ignored.
    void send(Request request) const {
        spawn(loop_, std::weak_ptr{ask_}, [request = std::move(request)](const Ask& ask) -> Task<void> {
            static_cast<void>(co_await ask(request));
        });
    }

  private:
    MainLoop& loop_;
    std::shared_ptr<const Ask> ask_;
};

}  // namespace larkmoor
