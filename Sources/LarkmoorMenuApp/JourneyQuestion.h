// Whether the first-run journey is owed: the receipts on disk first, then the daemon's answers.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

/// nullopt if a store exists and the daemon gave no usable answer. `support` is Application Support. Main thread.
Task<std::optional<bool>> journeyWarranted(std::shared_ptr<LarkmoorClient> client, std::string support);

/// The same without a request, or after one that the daemon did not answer.
std::optional<bool> journeyWarrantedUnasked(const std::string& support);

}  // namespace larkmoor
