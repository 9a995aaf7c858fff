// Whether the first-run journey is owed, asked of the disk and of the daemon.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

/// Nothing means that it cannot be told now. `support` is Application Support. Main thread.
Task<std::optional<bool>> journeyWarranted(std::shared_ptr<LarkmoorClient> client, std::string support);

/// The answer where the daemon gives none.
std::optional<bool> journeyWarrantedUnasked(const std::string& support);

}  // namespace larkmoor
