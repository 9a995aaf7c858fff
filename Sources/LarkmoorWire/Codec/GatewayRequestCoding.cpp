#include "LarkmoorWire/Codec/Messages.h"
#include "LarkmoorWire/Codec/OwnForms.h"

namespace larkmoor {

template <>
std::expected<Bytes, CodingFailure> encode(const GatewayRequest& message) {
    return Encoder::encode(message);
}

template <>
std::expected<GatewayRequest, CodingFailure> decode(BytesView document) {
    return Decoder::decode<GatewayRequest>(document);
}

}  // namespace larkmoor
