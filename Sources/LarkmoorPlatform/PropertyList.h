// Apple property lists, XML or binary. A list over the limits of PropertyListLimits counts as none.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor {

struct PropertyListValue {
    using Array = std::vector<PropertyListValue>;
    using Dictionary = std::map<std::string, PropertyListValue, std::less<>>;
    /// A date, data and the like, which this program never reads.
    struct Other {
        bool operator==(const Other&) const = default;
    };

    std::variant<Other, bool, std::int64_t, double, std::string, Array, Dictionary> value;

    template <class T>
    const T* as() const {
        return std::get_if<T>(&value);
    }

    bool operator==(const PropertyListValue&) const = default;
};

namespace PropertyList {

/// Whether the bytes are a property list whose root is a dictionary.
bool isReadable(BytesView document);

/// The whole list; nullopt if it is not a property list with a dictionary as root.
std::optional<PropertyListValue::Dictionary> dictionary(BytesView document);

/// The string under `key`; nullopt if the root is not a dictionary or there is no string under the key.
std::optional<std::string> textUnder(BytesView document, std::string_view key);

/// The same for a boolean; a number counts as one, and only 0 is false.
std::optional<bool> flagUnder(BytesView document, std::string_view key);

/// The document as XML with `value` under `key`; everything else keeps its type and value. An empty document counts as
/// an empty dictionary. nullopt if the root is not a dictionary, if XML cannot hold the key or the value, or if the
/// result would be over the limits.
std::optional<Bytes> setting(BytesView document, const std::string& key, const std::variant<std::string, bool>& value);

}  // namespace PropertyList

}  // namespace larkmoor
