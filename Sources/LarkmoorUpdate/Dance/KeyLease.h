// The store's key, as the daemon hands it out: the read ends of pipes into which it wrote the key, one for each run of
// the Migrator. Nobody reads them here, so the key is never in this process's memory.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor {

/// Main thread.
class KeyLease {
  public:
    virtual ~KeyLease() = default;

    /// How many descriptors are left.
    virtual std::size_t unspent() const = 0;
    /// One of them, which is the caller's now; none if there is none, as on a profile whose store has no key.
    virtual FileDescriptor spend() = 0;
    virtual void closeUnspent() = 0;
};

class DescriptorLease final : public KeyLease {
  public:
    DescriptorLease() = default;
    explicit DescriptorLease(std::vector<FileDescriptor> fds) : fds_(std::move(fds)) {}

    std::size_t unspent() const override { return fds_.size(); }
    FileDescriptor spend() override {
        if (fds_.empty()) return FileDescriptor{};
        FileDescriptor first = std::move(fds_.front());
        fds_.erase(fds_.begin());
        return first;
    }
    void closeUnspent() override { fds_.clear(); }

  private:
    std::vector<FileDescriptor> fds_;
};

}  // namespace larkmoor
