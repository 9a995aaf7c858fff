// User defaults in a property list: {home}/Library/Preferences/{suite}.plist.
#pragma once

#include <mutex>
#include <string>
#include <variant>

#include "LarkmoorPlatform/UserDefaults.h"

namespace larkmoor {

/// Each change replaces the whole file atomically and keeps all other values, whatever their types. A file that is not
/// a property list is left alone, and the error is EBADMSG. If two programs write at once, the later one wins.
class PropertyListDefaults final : public UserDefaults {
  public:
    PropertyListDefaults(const std::string& home, const std::string& suite);

    using UserDefaults::set;
    std::optional<std::string> string(const std::string& key) const override;
    std::optional<bool> flag(const std::string& key) const override;
    std::expected<void, FileError> set(const std::string& key, const std::string& value) override;
    std::expected<void, FileError> set(const std::string& key, bool value) override;

  private:
    std::expected<void, FileError> store(const std::string& key, const std::variant<std::string, bool>& value);

    const std::string folder_;
    const std::string path_;
    std::mutex writing_;  ///< held from reading to replacing the file
};

}  // namespace larkmoor
