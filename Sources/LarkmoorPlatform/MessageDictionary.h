// What one message between processes carries: a dictionary of typed values, independent of the bus that takes it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor {

/// Descriptors are shared so that a message can be copied; the last copy closes them.
using MessageDescriptors = std::vector<std::shared_ptr<const FileDescriptor>>;
using MessageValue = std::variant<Bytes, std::uint64_t, bool, MessageDescriptors>;

struct MessageDictionary {
    std::map<std::string, MessageValue, std::less<>> values;

    /// The value under the key if it is there with this type; valid until the dictionary changes.
    template <class T>
    const T* find(std::string_view key) const {
        const auto found = values.find(key);
        return found == values.end() ? nullptr : std::get_if<T>(&found->second);
    }

    void set(std::string_view key, MessageValue value) { values.insert_or_assign(std::string{key}, std::move(value)); }
};

}  // namespace larkmoor
