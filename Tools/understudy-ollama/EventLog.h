// What happened and when, as JSON lines, for tests that measure from outside.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor::modelhost {

/// `event`: "listening", "request", "answered" (whole), "closed" (by the peer, before the answer's end), "broken" (by a
/// fault), "terminated". `at` is in seconds of the real-time clock, `sent` the bytes of the answer's body so far.
LARKMOOR_RECORD(Event, (double, at), (std::string, event), (Int, connection), (std::optional<std::string>, method),
                (std::optional<std::string>, path), (std::optional<std::string>, body), (std::optional<Int>, status),
                (std::optional<Int>, sent))

/// Any thread: a line is one write.
class EventLog {
  public:
    /// Appends to the file; no log if the path is empty or cannot be opened.
    explicit EventLog(const std::string& path);

    void note(Event event);

  private:
    FileDescriptor file_;
};

}  // namespace larkmoor::modelhost
