// The three kinds of message and their JSON documents, in both directions.
#pragma once

#include <expected>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/JSON/Coding.h"
#include "LarkmoorWire/Catalogue/GatewayRequest.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"

namespace larkmoor {

template <class T>
concept WireMessage =
    std::same_as<T, GatewayRequest> || std::same_as<T, GatewayResponse> || std::same_as<T, GatewayEvent>;

/// The message's JSON document. Fails on text that is not UTF-8 and on a number that is not finite; any thread.
template <WireMessage T>
std::expected<Bytes, CodingFailure> encode(const T& message);

/// The message that the document holds, or the place and reason why it holds none. Lenient: see `Strictness`. Any bytes
/// are safe; any thread.
template <WireMessage T>
std::expected<T, CodingFailure> decode(BytesView document);

// Instantiated only in Messages.cpp, because each instance is much code.
template <>
std::expected<Bytes, CodingFailure> encode(const GatewayRequest& message);
template <>
std::expected<Bytes, CodingFailure> encode(const GatewayResponse& message);
template <>
std::expected<Bytes, CodingFailure> encode(const GatewayEvent& message);
template <>
std::expected<GatewayRequest, CodingFailure> decode(BytesView document);
template <>
std::expected<GatewayResponse, CodingFailure> decode(BytesView document);
template <>
std::expected<GatewayEvent, CodingFailure> decode(BytesView document);

}  // namespace larkmoor
