#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

Task<TimedResponse> LarkmoorClient::sendTimed(GatewayRequest request) {
    GatewayResponse response = co_await send(std::move(request));
    co_return TimedResponse{.response = std::move(response), .daemon = std::nullopt};
}

}  // namespace larkmoor
