// The JSON forms of the contract that do not follow from a type's description.
#pragma once

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorWire/Catalogue/FilterValue.h"
#include "LarkmoorWire/Catalogue/ReadRequest.h"

namespace larkmoor {

/// A bare scalar.
template <>
struct OwnJSONForm<FilterValue> {
    static bool read(Decoder& decoder, const FlatNode& node, FilterValue& out) {
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

    static void write(Encoder& encoder, const FilterValue& value) {
        value.visit([&encoder](const auto& held) { encoder.write(held._0); });
    }
};

/// A key that is nothing but its text: how a reader takes an object's keys without knowing them in advance.
struct WireKey {
    std::string_view stringValue;

    constexpr WireKey() = default;
    constexpr explicit WireKey(std::string_view text) : stringValue(text) {}
    constexpr WireKey(const char* literal) : stringValue(literal) {}

    bool operator==(const WireKey&) const = default;
};

/// A read request names what it found: its askers are many, and of many ages.
template <>
struct WrongKeyCount<ReadRequest> {
    static std::string reason(const FlatNode& object) {
        std::vector<std::string> keys;
        for (const FlatNode* member = object.begin(); member != object.end(); member = member->next()) {
            keys.push_back(fmt::format("\"{}\"", WireKey{member->key}.stringValue));
        }
        return fmt::format("ReadRequest expects exactly one case key, got [{}]", fmt::join(keys, ", "));
    }
};

}  // namespace larkmoor
