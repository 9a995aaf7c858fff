// The XDG base directories of this user.
#pragma once

#include <string>

namespace larkmoor {

struct UserFolders {
    std::string config;  ///< $XDG_CONFIG_HOME, otherwise {home}/.config
    std::string data;    ///< $XDG_DATA_HOME, otherwise {home}/.local/share

    /// Variables that are not absolute paths are ignored.
    static UserFolders current();
};

}  // namespace larkmoor
