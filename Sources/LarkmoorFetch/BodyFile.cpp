#include "LarkmoorFetch/BodyFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace larkmoor {

namespace {

constexpr std::size_t pieceSize = 65536;

}  // namespace

std::expected<void, FileError> BodyFile::open(const std::string& path) {
    name_ = path.empty() ? "standard input" : path;
    held_.reserve(pieceSize);
    if (path.empty()) {
        file_ = FileDescriptor{::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)};
    } else {
        if (::unlink(path.c_str()) != 0 && errno != ENOENT) return std::unexpected(FileError{name_, errno});
        file_ = FileDescriptor{::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)};
    }
    if (!file_) return std::unexpected(FileError{name_, errno});
    return {};
}

std::expected<void, FileError> BodyFile::add(BytesView bytes) {
    while (!bytes.empty()) {
        const BytesView piece = bytes.first(std::min(bytes.size(), pieceSize - held_.size()));
        held_.insert(held_.end(), piece.begin(), piece.end());
        bytes = bytes.subspan(piece.size());
        if (held_.size() < pieceSize) continue;
        if (auto written = flush(); !written) return written;
        flushed_(written_);
    }
    return {};
}

std::expected<std::int64_t, FileError> BodyFile::finish() {
    if (auto written = flush(); !written) return std::unexpected(written.error());
    // A disk over the network may tell only now that it is full.
    if (::close(file_.release()) != 0) return std::unexpected(FileError{name_, errno});
    return written_;
}

std::expected<void, FileError> BodyFile::flush() {
    auto written = Files::writeAll(file_.get(), held_, name_);
    if (!written) return written;
    written_ += static_cast<std::int64_t>(held_.size());
    held_.clear();
    return {};
}

}  // namespace larkmoor
