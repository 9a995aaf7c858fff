// A program that is opened once and run later.
#pragma once

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor {

/// Stays the program that it was when it was opened, even if its file or a folder above is replaced or removed, as an
/// update of a running application does.
class OpenedProgram {
  public:
    explicit OpenedProgram(std::string path)
        : path_(std::move(path)), file_(::open(path_.c_str(), O_PATH | O_CLOEXEC)) {}

    const std::string& path() const { return path_; }

    /// What to execute, as long as this lives: the open file, or the path if it could not be opened. The child closes
    /// its descriptors before it executes, so the link is that of this process.
    std::string executable() const { return file_ ? fmt::format("/proc/{}/fd/{}", ::getpid(), file_.get()) : path_; }

  private:
    std::string path_;
    FileDescriptor file_;
};

}  // namespace larkmoor
