// User defaults as a property list: {home}/Library/Preferences/{suite}.plist.
#pragma once

#include <mutex>
#include <string>
#include <variant>

#include "LarkmoorPlatform/UserDefaults.h"

namespace larkmoor {

/// Writing replaces the whole file in one step, and keeps what else is in it, of whatever type. A file that is no
/// property list is left as it is, and writing answers EBADMSG. Of two programs that write at once the later one wins.
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
    std::mutex writing_;  ///< one change of the file at a time
};

}  // namespace larkmoor
