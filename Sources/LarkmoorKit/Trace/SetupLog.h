// Log file of the first run and of the models' setup, which this program writes by itself, so that it can be read even
// when the daemon is not running. Every failure is ignored: logging never makes its caller fail.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace larkmoor::SetupLog {

using Time = std::chrono::system_clock::time_point;

/// "{home}/Library/Logs/larkmoor-journey.log"; never rotated or cut by this program.
std::string path(std::string_view home);

/// Queues "{stamp} {text}" for this user's file. The stamp is the time of the call, so that stamps and calls have one
/// order. Any thread.
void line(std::string text);

/// "{stamp} {text}" and a line feed, with the date in ISO 8601 to the second, UTC. The text may quote a host or a
/// helper, which must not write a line of its own: control characters become U+FFFD, and more than 64 KiB ends in "…".
std::string stamped(Time date, std::string_view text);

/// Appends one line to the file at once; opens and closes it, so that another process may move it between lines.
void append(const std::string& path, Time date, std::string_view text);

/// Waits until the lines queued so far are written or have failed. For an orderly end, and for tests.
void flush();

}  // namespace larkmoor::SetupLog
