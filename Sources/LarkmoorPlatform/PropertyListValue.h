// A property list as plain data.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace larkmoor {

struct PropertyListValue {
    using Array = std::vector<PropertyListValue>;
    using Dictionary = std::map<std::string, PropertyListValue, std::less<>>;
    /// A date, data and the like: nothing that this program looks into.
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

}  // namespace larkmoor
