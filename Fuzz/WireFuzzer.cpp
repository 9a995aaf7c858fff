// Any bytes give a message or a failure; a message that was read is written, and reads as the same message again.
// The first byte chooses the kind of message.
#include "LarkmoorWire/Codec/Messages.h"
#include "Require.h"

namespace {

using namespace larkmoor;
using fuzz::require;

template <WireMessage T>
void roundTrip(BytesView document) {
    const auto message = decode<T>(document);
    if (!message) {
        require(!message.error().reason.empty(), "a failure says why");
        return;
    }
    const auto written = encode(*message);
    require(written.has_value(), "what was read can be written");
    const auto again = decode<T>(*written);
    require(again.has_value(), "what was written can be read");
    require(*again == *message, "it reads as the same message");
    require(encode(*again) == *written, "it is written the same way");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const BytesView document = std::as_bytes(std::span{data, size}).subspan(1);
    switch (data[0] % 3) {
        case 0:
            roundTrip<GatewayRequest>(document);
            break;
        case 1:
            roundTrip<GatewayResponse>(document);
            break;
        default:
            roundTrip<GatewayEvent>(document);
            break;
    }
    return 0;
}
