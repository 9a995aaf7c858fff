// Where this user's programs keep what they are told and what they know (XDG base directories).
#pragma once

#include <string>

namespace larkmoor {

struct UserFolders {
    std::string config;  ///< $XDG_CONFIG_HOME, otherwise {home}/.config
    std::string data;    ///< $XDG_DATA_HOME, otherwise {home}/.local/share

    /// A variable that is no absolute path does not count.
    static UserFolders current();
};

}  // namespace larkmoor
