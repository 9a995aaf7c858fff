// The protocol version of this build, and fixed texts used next to its messages.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace larkmoor {

namespace WireContract {

inline constexpr std::int64_t version = 1;

inline constexpr std::string_view mismatchMessage =
    "Larkmoor updated; this session's bridge is older than the daemon, restart the session";

enum class Verdict { admitted, mismatch };

/// A daemon that does not send its version is admitted.
constexpr Verdict verdict(std::int64_t ours, std::optional<std::int64_t> daemon) {
    return !daemon || *daemon == ours ? Verdict::admitted : Verdict::mismatch;
}

}  // namespace WireContract

/// The exchange of the store's key with the Migrator. The key travels in pipes that this program never reads.
namespace StoreKeyWire {

/// The key of the dictionary under which a reply to `storeKeyForMigration` carries its descriptors.
inline constexpr std::string_view descriptorsKey = "store_key_fds";

/// The daemon's answer on a profile whose store has no key.
inline constexpr std::string_view noKeyOnThisProfile = "no key on this profile";

}  // namespace StoreKeyWire

}  // namespace larkmoor
