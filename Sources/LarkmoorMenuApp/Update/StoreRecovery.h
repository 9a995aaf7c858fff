// The files around a store whose migration was killed: the Migrator's latch, its apply logs, and the backup that is put
// back. Blocks; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorUpdate/Recovery/StandingLatch.h"
#include "LarkmoorUpdate/Recovery/VouchedBackup.h"

namespace larkmoor {

namespace StoreRecovery {

std::string latchPath(const std::string& store);
/// Our own mark beside the store, from before a Migrator applies until its work was found good or undone.
std::string markPath(const std::string& store);

/// Locks the store's folder for a run, as long as the descriptor is open; nullopt if another process has it. A file
/// system without locks gives no descriptor.
std::optional<FileDescriptor> lock(const std::string& store);

/// Whether a migration is under way, or was killed: the latch stands, or the mark.
bool isLatched(const std::string& store);

/// A latch is held, too, by a process of its number that was started with this store, whatever its start time seems to
/// be. Where it is not there, or cannot be read, the mark tells: it is held by a process that was started to apply to
/// the store; else it is a stale latch of the process that the apply's log names, if nobody has written to the store
/// since and either its backup can be put back or the work was found bad. A latch of which nothing is told is stale.
StandingLatch standingLatch(const std::string& store);

/// Kills the Migrator that holds the latch, with its children; nothing if it is stale.
void killMigrator(const std::string& store);

/// Marks the store before the Migrator is started whose output is the log; on the disk when this returns. False if the
/// mark cannot be made.
bool mark(const std::string& store, const std::string& log);

/// The Migrator's work is of this moment.
void touchMark(const std::string& store);

/// Notes that the Migrator's work, which is of this moment, was found bad: whatever becomes of log and backup, the mark
/// is believed as long as nobody writes to the store. Ignores a failure.
void markFoundBad(const std::string& store);

/// Ignores a failure: a mark that stays is found again.
void removeMark(const std::string& store);

/// Removes a mark that tells nothing, as of a Migrator that never began. The caller has the lock.
void removeMootMark(const std::string& store);

/// Removes latch and mark. Ignores a failure: one that stays is found again.
void lowerLatch(const std::string& store);

/// The copy of a backup that a restoration left which was killed. Ignores a failure.
void removeAbandonedCopies(const std::string& store);

/// `{store}.migrate.{epochSeconds}.log`
std::string applyLog(const std::string& store, std::int64_t epochSeconds);

/// The lines of an apply log that tell of its latch, and then those of its backups; of each a thousand at most. The log
/// may be of any length.
std::vector<std::string> tellingLines(const std::string& log);

/// Those of the apply log that names the process: of the one that the mark names, else of the newest.
std::optional<std::vector<std::string>> killedApplyLog(const std::string& store, std::int32_t pid);

}  // namespace StoreRecovery

namespace StoreRestore {

using Outcome = RestoreOutcome;

/// Whether the backup can be put back; changes nothing.
Outcome inspect(const VouchedBackup& backup);

/// Copies the backup over the store, by way of `{store}.restoring`: the store is the old or the new file at every
/// moment, and the backup stays. It keeps the backup's date. On the disk when this returns. What SQLite kept beside the
/// old file is removed, so that it is not replayed over the new one.
Outcome put(const VouchedBackup& backup, const std::string& over);

}  // namespace StoreRestore

}  // namespace larkmoor
