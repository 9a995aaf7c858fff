// A name that stands twice in one object: two readers may take different members for it, so nobody edits such a file.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorConnectors/ConfigFile/JSONNode.h"

namespace larkmoor::JSONDuplicates {

/// Why the object cannot be edited, for a person, with the place of the first name that was there before; nothing if
/// every name is there once. Objects inside it are not looked at.
std::optional<std::string> reason(const JSONNode& object);

}  // namespace larkmoor::JSONDuplicates
