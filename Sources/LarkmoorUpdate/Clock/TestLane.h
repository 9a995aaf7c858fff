// The developers' test lane: a user default that makes the daily clock tick each minute.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <variant>

#include "LarkmoorPlatform/UserDefaults.h"

namespace larkmoor::TestLane {

inline constexpr const char* defaultsKey = "UpdateTestLane";

/// A number is the boolean that it stands for.
using DefaultsValue = std::optional<std::variant<bool, std::string>>;

/// What stands under the key now; reads the storage.
DefaultsValue defaultsValue(const UserDefaults& defaults);

bool armed(const DefaultsValue& value);
/// The interval of the daily clock.
std::chrono::seconds cadence(const DefaultsValue& value);

}  // namespace larkmoor::TestLane
