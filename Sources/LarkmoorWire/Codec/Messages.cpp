#include "LarkmoorWire/Codec/Messages.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string>
#include <vector>

#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"

namespace larkmoor {

bool JSONForm<FilterValue>::read(Decoder& decoder, const FlatNode& node, FilterValue& out) {
    switch (node.kind) {
        case FlatNode::Kind::boolean:
            return decoder.read(node, out.emplace<FilterValue::Bool>()._0);
        case FlatNode::Kind::number:
            return decoder.read(node, out.emplace<FilterValue::Number>()._0);
        case FlatNode::Kind::string:
            return decoder.read(node, out.emplace<FilterValue::String>()._0);
        case FlatNode::Kind::null:
        case FlatNode::Kind::array:
        case FlatNode::Kind::object:
            break;
    }
    return decoder.fail("expected a string, a number, true or false");
}

void JSONForm<FilterValue>::write(Encoder& encoder, const FilterValue& value) {
    value.visit([&encoder](const auto& held) { encoder.write(held._0); });
}

std::string JSONForm<ReadRequest>::wrongKeyCount(const FlatNode& object) {
    std::vector<std::string> keys;
    for (const FlatNode* member = object.begin(); member != object.end(); member = member->next())
        keys.push_back(fmt::format("\"{}\"", WireKey{member->key()}.stringValue));
    return fmt::format("ReadRequest expects exactly one case key, got [{}]", fmt::join(keys, ", "));
}

template <>
std::expected<Bytes, CodingFailure> encode(const GatewayRequest& message) {
    return Encoder::encode(message);
}

template <>
std::expected<GatewayRequest, CodingFailure> decode(BytesView document) {
    return Decoder::decode<GatewayRequest>(document);
}

template <>
std::expected<Bytes, CodingFailure> encode(const GatewayResponse& message) {
    return Encoder::encode(message);
}

template <>
std::expected<GatewayResponse, CodingFailure> decode(BytesView document) {
    return Decoder::decode<GatewayResponse>(document);
}

template <>
std::expected<Bytes, CodingFailure> encode(const GatewayEvent& message) {
    return Encoder::encode(message);
}

template <>
std::expected<GatewayEvent, CodingFailure> decode(BytesView document) {
    return Decoder::decode<GatewayEvent>(document);
}

}  // namespace larkmoor
