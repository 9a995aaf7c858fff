// User defaults in memory.
#pragma once

#include <map>
#include <variant>

#include "LarkmoorPlatform/UserDefaults.h"

namespace larkmoor::testing {

class FakeDefaults final : public UserDefaults {
  public:
    std::map<std::string, std::variant<std::string, bool>> values;

    using UserDefaults::set;
    std::optional<std::string> string(const std::string& key) const override { return read<std::string>(key); }
    std::optional<bool> flag(const std::string& key) const override { return read<bool>(key); }
    std::expected<void, FileError> set(const std::string& key, const std::string& value) override {
        values[key] = value;
        return {};
    }
    std::expected<void, FileError> set(const std::string& key, bool value) override {
        values[key] = value;
        return {};
    }

  private:
    template <class T>
    std::optional<T> read(const std::string& key) const {
        const auto found = values.find(key);
        const T* value = found == values.end() ? nullptr : std::get_if<T>(&found->second);
        return value == nullptr ? std::nullopt : std::optional{*value};
    }
};

}  // namespace larkmoor::testing
