// User defaults: strings and booleans under keys, in one named suite.
#pragma once

#include <expected>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/Files.h"

namespace larkmoor {

/// Any thread. Values are read from storage each time.
class UserDefaults {
  public:
    virtual ~UserDefaults() = default;

    /// The string under the key; nullopt for a value of another type.
    virtual std::optional<std::string> string(const std::string& key) const = 0;
    /// The boolean under the key. A number counts as one, and only 0 is false; nullopt for any other type.
    virtual std::optional<bool> flag(const std::string& key) const = 0;

    /// Replaces the value under the key, whatever its type; everything else in the suite stays.
    virtual std::expected<void, FileError> set(const std::string& key, const std::string& value) = 0;
    virtual std::expected<void, FileError> set(const std::string& key, bool value) = 0;
    /// A string literal would otherwise convert to bool.
    std::expected<void, FileError> set(const std::string& key, const char* value) {
        return set(key, std::string{value});
    }
};

}  // namespace larkmoor
