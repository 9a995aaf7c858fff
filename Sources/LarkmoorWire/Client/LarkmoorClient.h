// The interface through which every request reaches the daemon.
#pragma once

#include <chrono>
#include <optional>

#include "LarkmoorBase/Task.h"
#include "LarkmoorWire/Catalogue/GatewayRequest.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"

namespace larkmoor {

/// An answer with the time that the daemon says it spent serving, when it says so.
struct TimedResponse {
    GatewayResponse response;
    std::optional<std::chrono::milliseconds> daemon;
};

/// Nothing here fails but in the answer itself: every failure is `GatewayResponse::Failure`. Main thread.
class LarkmoorClient {
  public:
    virtual ~LarkmoorClient() = default;

    virtual Task<GatewayResponse> send(GatewayRequest request) = 0;
    virtual Task<TimedResponse> sendTimed(GatewayRequest request);
};

}  // namespace larkmoor
