// The files around a store whose migration was killed: the Migrator's latch, its apply logs, and the backup that is put
// back. Blocks; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorUpdate/Recovery/StandingLatch.h"
#include "LarkmoorUpdate/Recovery/VouchedBackup.h"

namespace larkmoor {

namespace StoreRecovery {

/// Whether a migration is under way, or was killed.
bool isLatched(const std::string& store);

/// A latch that cannot be read is stale, with no process.
StandingLatch standingLatch(const std::string& store);

/// Ignores a failure: a latch that stays is found again.
void lowerLatch(const std::string& store);

/// The copy of a backup that a restoration left which was killed. Ignores a failure.
void removeAbandonedCopy(const std::string& store);

/// `{store}.migrate.{epochSeconds}.log`
std::string applyLog(const std::string& store, std::int64_t epochSeconds);

/// The lines of an apply log that tell of its latch, and then those of its backups; of each a thousand at most. The log
/// may be of any length.
std::vector<std::string> tellingLines(const std::string& log);

/// Those of the newest apply log that names the process.
std::optional<std::vector<std::string>> killedApplyLog(const std::string& store, std::int32_t pid);

}  // namespace StoreRecovery

namespace StoreRestore {

using Outcome = RestoreOutcome;

/// Whether the backup can be put back; changes nothing.
Outcome inspect(const VouchedBackup& backup);

/// Copies the backup over the store, by way of `{store}.restoring`: the store is the old or the new file at every
/// moment, and the backup stays. On the disk when this returns. What SQLite kept beside the old file is removed, so
/// that it is not replayed over the new one.
Outcome put(const VouchedBackup& backup, const std::string& over);

}  // namespace StoreRestore

}  // namespace larkmoor
