// What the system knows of this process, and of others by their process id.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace larkmoor {

/// $HOME if it is an absolute path, otherwise the home of the user database; without a final slash. The libraries above
/// this one take the folder as a parameter, so that tests can pass another.
std::string homeFolder();

/// Of this process; "" where it is not set.
std::string environmentVariable(const char* name);

/// The absolute path of this process's executable as it was when the process started; nullopt if the system does not
/// report it.
std::optional<std::string> runningExecutable();

/// Whether the file under the path is the very one that this process runs; nullopt where there is no file, or where the
/// system does not tell.
std::optional<bool> isRunningExecutable(const std::string& path);

}  // namespace larkmoor

namespace larkmoor::ProcessTable {

/// The start time of a process, in microseconds of the real-time clock; the same for every caller until the next boot,
/// even if the clock is set meanwhile. nullopt for a process that does not exist. For comparison with another's record
/// of it; the first call in a boot waits for a lock and writes a file.
std::optional<std::chrono::system_clock::time_point> start(pid_t process);

/// Whether the process was started with these arguments, one after the other, among others.
bool isStartedWith(pid_t process, const std::vector<std::string>& words);

/// A process of this user's that was.
std::optional<pid_t> startedWith(const std::vector<std::string>& words);

}  // namespace larkmoor::ProcessTable
