// The interface through which every request reaches the daemon, the interface of the serving side, and a client that
// calls a serving side in the same process.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "LarkmoorBase/Task.h"
#include "LarkmoorWire/Catalogue/GatewayRequest.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"

namespace larkmoor {

/// An answer, and how long the daemon worked on it, if the daemon reports that.
struct TimedResponse {
    GatewayResponse response;
    std::optional<std::chrono::milliseconds> daemon;
};

/// Requests never throw: every failure is returned as a `GatewayResponse::Failure`. Main thread.
class LarkmoorClient {
  public:
    virtual ~LarkmoorClient() = default;

    virtual Task<GatewayResponse> send(GatewayRequest request) = 0;
    /// The default calls `send` and reports no serving time; a client that knows the time overrides it.
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
