// User defaults in memory.
#pragma once

#include "LarkmoorPlatform/UserDefaults.h"

namespace larkmoor::testing {

class FakeDefaults final : public UserDefaults {
  public:
    std::map<std::string, std::optional<std::string>> strings;
    std::map<std::string, std::optional<bool>> flags;

    using Stored = std::expected<void, FileError>;
    std::optional<std::string> string(const std::string& key) const override {
        return strings.contains(key) ? strings.at(key) : std::nullopt;
    }
    std::optional<bool> flag(const std::string& key) const override {
        return flags.contains(key) ? flags.at(key) : std::nullopt;
    }
    Stored set(const std::string& key, const std::string& value) override { return strings[key] = value, Stored{}; }
    Stored set(const std::string& key, bool value) override { return flags[key] = value, Stored{}; }
};

}  // namespace larkmoor::testing
