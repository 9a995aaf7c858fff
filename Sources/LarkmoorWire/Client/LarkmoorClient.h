// The interface through which every request reaches the daemon, the serving side that it stands for, and the client of
// a gateway in the same process.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "LarkmoorBase/Task.h"
#include "LarkmoorWire/Catalogue/GatewayRequest.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"

namespace larkmoor {

/// An answer with the time that the daemon says it spent serving, when it says so.
struct TimedResponse {
    GatewayResponse response;
    std::optional<std::chrono::milliseconds> daemon;
};

/// No request fails but in its answer: every failure is a `GatewayResponse::Failure`. Main thread.
class LarkmoorClient {
  public:
    virtual ~LarkmoorClient() = default;

    virtual Task<GatewayResponse> send(GatewayRequest request) = 0;
    /// `send`, with no time told, unless a client knows better.
    virtual Task<TimedResponse> sendTimed(GatewayRequest request);
};

/// The serving side.
class Gateway {
  public:
    virtual ~Gateway() = default;

    virtual Task<GatewayResponse> serve(GatewayRequest request) = 0;
};

/// Hands each request to a gateway in this process: no encoding and no transport.
class InProcessClient final : public LarkmoorClient {
  public:
    explicit InProcessClient(std::shared_ptr<Gateway> gateway) : gateway_(std::move(gateway)) {}

    Task<GatewayResponse> send(GatewayRequest request) override { return gateway_->serve(std::move(request)); }

  private:
    std::shared_ptr<Gateway> gateway_;
};

}  // namespace larkmoor
