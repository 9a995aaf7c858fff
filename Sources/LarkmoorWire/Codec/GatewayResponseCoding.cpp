#include "LarkmoorWire/Codec/Messages.h"
#include "LarkmoorWire/Codec/OwnForms.h"

namespace larkmoor {

template <>
std::expected<Bytes, CodingFailure> encode(const GatewayResponse& message) {
    return Encoder::encode(message);
}

template <>
std::expected<GatewayResponse, CodingFailure> decode(BytesView document) {
    return Decoder::decode<GatewayResponse>(document);
}

}  // namespace larkmoor
