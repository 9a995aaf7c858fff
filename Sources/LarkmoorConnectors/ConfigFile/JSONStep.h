// A way into a JSON document, from the top-level value inwards.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor {

struct JSONStepCases {
    struct Key {
        std::string text;
        bool operator==(const Key&) const = default;
    };
    struct Index {
        std::int64_t value = 0;
        bool operator==(const Index&) const = default;
    };
};

/// Into an object by a member's decoded name, or into an array by an element's place. A text and a whole number are
/// taken for the one and the other, so that a path can be written {"hooks", "PreToolUse", 0}.
class JSONStep : public ClosedVariant<JSONStepCases, JSONStepCases::Key, JSONStepCases::Index> {
  public:
    template <std::convertible_to<std::string_view> Text>
    JSONStep(const Text& key) : ClosedVariant(Key{std::string{std::string_view{key}}}) {}

    template <std::integral Whole>
    JSONStep(Whole index) : ClosedVariant(Index{static_cast<std::int64_t>(index)}) {}
};

/// The empty path means the top-level value.
using JSONPath = std::vector<JSONStep>;

}  // namespace larkmoor
