// The serving side of the contract.
#pragma once

#include "LarkmoorBase/Task.h"
#include "LarkmoorWire/Catalogue/GatewayRequest.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"

namespace larkmoor {

class Gateway {
  public:
    virtual ~Gateway() = default;

    virtual Task<GatewayResponse> serve(GatewayRequest request) = 0;
};

}  // namespace larkmoor
