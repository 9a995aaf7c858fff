// Universally unique identifiers.
#pragma once

#include <string>

namespace larkmoor {

/// A fresh random UUID (version 4) in its upper-case text form. Any thread.
std::string newUUID();

}  // namespace larkmoor
