// A client whose gateway lives in the same process: no encoding and no transport.
#pragma once

#include <memory>

#include "LarkmoorWire/Client/Gateway.h"
#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

class InProcessClient final : public LarkmoorClient {
  public:
    explicit InProcessClient(std::shared_ptr<Gateway> gateway) : gateway_(std::move(gateway)) {}

    Task<GatewayResponse> send(GatewayRequest request) override { return gateway_->serve(std::move(request)); }

  private:
    std::shared_ptr<Gateway> gateway_;
};

}  // namespace larkmoor
