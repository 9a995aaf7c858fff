#include "LarkmoorWire/Codec/Messages.h"
#include "LarkmoorWire/Codec/OwnForms.h"

namespace larkmoor {

template <>
std::expected<Bytes, CodingFailure> encode(const GatewayEvent& message) {
    return Encoder::encode(message);
}

template <>
std::expected<GatewayEvent, CodingFailure> decode(BytesView document) {
    return Decoder::decode<GatewayEvent>(document);
}

}  // namespace larkmoor
