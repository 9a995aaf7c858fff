#include "LarkmoorWire/Codec/Decoder.h"
#include "LarkmoorWire/Codec/Encoder.h"
#include "LarkmoorWire/Codec/Messages.h"

namespace larkmoor {

/// A read request names what it found: its askers are many, and of many ages.
template <>
struct VariantWords<ReadRequest> {
    static std::string wrongKeys(const WireNode& node) {
        std::vector<std::string> keys;
        for (const WireNode* member = node.begin(); member != node.end(); member = member->next()) {
            keys.push_back(fmt::format("\"{}\"", member->key.stringValue));
        }
        return fmt::format("ReadRequest expects exactly one case key, got [{}]", fmt::join(keys, ", "));
    }
};

template <>
std::expected<Bytes, CodingFailure> encode(const GatewayRequest& message) {
    return Encoder::encode(message);
}

template <>
std::expected<GatewayRequest, CodingFailure> decode(BytesView document) {
    return Decoder::decode<GatewayRequest>(document);
}

}  // namespace larkmoor
