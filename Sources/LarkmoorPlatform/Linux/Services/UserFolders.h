// The XDG base directories of this user.
#pragma once

#include <string>
#include <vector>

namespace larkmoor {

struct UserFolders {
    std::string config;  ///< $XDG_CONFIG_HOME, otherwise {home}/.config
    std::string data;    ///< $XDG_DATA_HOME, otherwise {home}/.local/share

    /// Variables that are not absolute paths are ignored.
    static UserFolders current();
    /// Those of an environment of this user's: variables as "NAME=value".
    static UserFolders of(const std::vector<std::string>& environment);

    bool operator==(const UserFolders&) const = default;
};

}  // namespace larkmoor
