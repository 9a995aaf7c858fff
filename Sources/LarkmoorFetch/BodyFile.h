// The file or descriptor that takes the body of a download.
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor {

/// Writes pieces of 64 KiB. What it has written stays when it fails: the file is the asker's to remove.
class BodyFile {
  public:
    using Flushed = std::function<void(std::int64_t bytes)>;

    /// `flushed` is called after each full piece with the bytes written so far.
    explicit BodyFile(Flushed flushed) : flushed_(std::move(flushed)) {}

    /// Makes the file anew: never writes into what somebody else put there, nor through a link. No path: standard
    /// input.
    std::expected<void, FileError> open(const std::string& path);
    std::expected<void, FileError> add(BytesView bytes);
    /// Writes the rest; returns the bytes of the whole.
    std::expected<std::int64_t, FileError> finish();

    /// Taken so far, written or not.
    std::int64_t taken() const { return written_ + static_cast<std::int64_t>(held_.size()); }

  private:
    std::expected<void, FileError> flush();

    Flushed flushed_;
    std::string name_{};
    FileDescriptor file_{};
    Bytes held_{};
    std::int64_t written_ = 0;
};

}  // namespace larkmoor
