// What a person or a developer set for this program: a text or a flag under a key, in one named suite.
#pragma once

#include <expected>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/Files.h"

namespace larkmoor {

/// Any thread. Each question looks at what is stored now.
class UserDefaults {
  public:
    virtual ~UserDefaults() = default;

    /// The text under the key; nothing for a value that is no text.
    virtual std::optional<std::string> string(const std::string& key) const = 0;
    /// The flag under the key. A number is a flag too, and 0 alone is false; nothing for any other value.
    virtual std::optional<bool> flag(const std::string& key) const = 0;

    /// Stores the value in the place of whatever is under the key; everything else in the suite stays.
    virtual std::expected<void, FileError> set(const std::string& key, const std::string& value) = 0;
    virtual std::expected<void, FileError> set(const std::string& key, bool value) = 0;
    /// A text in quotes is a text: without this it would be taken for a flag.
    std::expected<void, FileError> set(const std::string& key, const char* value) {
        return set(key, std::string{value});
    }
};

}  // namespace larkmoor
