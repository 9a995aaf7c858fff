// The exchange of the store's key with the Migrator: the key itself travels in pipes that this program never reads.
#pragma once

#include <string_view>

namespace larkmoor::StoreKeyWire {

/// Where a reply to `storeKeyForMigration` carries its descriptors.
inline constexpr std::string_view descriptorsKey = "store_key_fds";

/// The daemon's answer on a profile whose store has no key.
inline constexpr std::string_view noKeyOnThisProfile = "no key on this profile";

}  // namespace larkmoor::StoreKeyWire
