// The small disk of the tests that fill one: $LARKMOOR_SMALL_DISK, a tmpfs that Scripts/lib/as-tester mounts.
#pragma once

#include <fcntl.h>
#include <sys/file.h>

#include <cstdlib>

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor::testing {

/// Holds the disk for one test; tests that run in parallel wait for each other here.
class SmallDisk {
  public:
    SmallDisk() : path_(std::getenv("LARKMOOR_SMALL_DISK")) {
        if (path_ == nullptr) return;
        folder_ = FileDescriptor{::open(path_, O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
        while (::flock(folder_.get(), LOCK_EX) != 0 && errno == EINTR) {
        }
    }

    /// Null if there is no such disk; the test is then skipped with `absence`.
    const char* path() const { return path_; }

    static constexpr const char* absence = "LARKMOOR_SMALL_DISK names no small disk; Scripts/lib/as-tester makes one";

  private:
    const char* path_;
    FileDescriptor folder_;
};

}  // namespace larkmoor::testing
