// What lets the window of a program that a click starts come to the front.
#pragma once

#include <string>

#include "LarkmoorPlatform/ProcessRequest.h"

namespace larkmoor {

/// For a program to be started: the desktop's token of the click, empty for none, and none of those that this process
/// was started with itself, which are used up.
inline ProcessEnvironment environmentWithToken(const std::string& token) {
    ProcessEnvironment environment;
    environment.changes["DESKTOP_STARTUP_ID"] = std::nullopt;
    environment.changes["XDG_ACTIVATION_TOKEN"] = token.empty() ? std::nullopt : std::optional{token};
    return environment;
}

}  // namespace larkmoor
