// Where this user lives. The floors above take the folder as a text, so that a test can give them another.
#pragma once

#include <string>

namespace larkmoor {

/// $HOME if it is an absolute path, otherwise what the user database says; without a final slash.
std::string homeFolder();

}  // namespace larkmoor
