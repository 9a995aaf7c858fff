#include "LarkmoorPlatform/Linux/Processes/ProcessChannels.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>

#include "LarkmoorBase/DurableFiles.h"

namespace larkmoor {

namespace {

using Opened = std::expected<FileDescriptor, FileError>;

/// A duplicate with a number above the standard descriptors, so that dup2 in the child overwrites none.
Opened above(const FileDescriptor& file, const std::string& path) {
    FileDescriptor copy{::fcntl(file.get(), F_DUPFD_CLOEXEC, 3)};
    if (!copy) return std::unexpected(FileError{path, errno});
    return copy;
}

Opened openAbove(const std::string& path, int flags, mode_t mode = 0) {
    const FileDescriptor file{::open(path.c_str(), flags | O_CLOEXEC, mode)};
    if (!file) return std::unexpected(FileError{path, errno});
    return above(file, path);
}

Opened nothing() { return openAbove("/dev/null", O_RDWR); }

Opened memory() {
    const std::string name = "larkmoor-process";
    const FileDescriptor file{::memfd_create(name.c_str(), MFD_CLOEXEC)};
    if (!file) return std::unexpected(FileError{name, errno});
    return above(file, name);
}

Opened memoryHolding(BytesView bytes) {
    Opened file = memory();
    if (!file) return file;
    if (auto written = Files::writeAll(file->get(), bytes, "larkmoor-process"); !written)
        return std::unexpected(written.error());
    ::lseek(file->get(), 0, SEEK_SET);
    return file;
}

std::expected<void, FileError> keep(Opened opened, FileDescriptor& place) {
    if (!opened) return std::unexpected(opened.error());
    place = std::move(*opened);
    return {};
}

}  // namespace

std::expected<ProcessChannels, FileError> ProcessChannels::open(ProcessRequest& request) {
    ProcessChannels channels;
    auto opened = channels.openInput(request.input);
    if (opened) opened = channels.openOutput(request.output);
    if (opened) opened = channels.openErrors(request.errors);
    if (!opened) return std::unexpected(opened.error());
    return channels;
}

std::expected<void, FileError> ProcessChannels::openInput(ProcessInput& input) {
    if (const auto* given = std::get_if<ProcessInputs::FromBytes>(&input))
        return keep(memoryHolding(given->bytes), input_);
    if (auto* given = std::get_if<ProcessInputs::FromDescriptor>(&input)) {
        const FileDescriptor taken = std::move(given->descriptor);
        return keep(above(taken, "standard input"), input_);
    }
    return keep(nothing(), input_);
}

std::expected<void, FileError> ProcessChannels::openOutput(const ProcessOutput& output) {
    if (const auto* file = std::get_if<ProcessOutputs::ToFile>(&output)) {
        constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_NONBLOCK | O_DSYNC;
        auto opened = keep(openAbove(file->path, flags, 0600), output_);
        if (opened) opened = DurableFiles::syncFolder(std::filesystem::path{file->path}.parent_path().string());
        // An existing file may have been readable by others.
        if (opened) static_cast<void>(::fchmod(output_.get(), 0600));
        return opened;
    }
    if (std::holds_alternative<ProcessOutputs::Captured>(output)) {
        auto made = keep(memory(), output_);
        return made ? keep(above(output_, "standard output"), capturedOutput_) : made;
    }
    if (std::holds_alternative<ProcessOutputs::Streamed>(output)) {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) return std::unexpected(FileError{"standard output", errno});
        stream_ = FileDescriptor{ends[0]};
        const FileDescriptor writing{ends[1]};
        ::fcntl(stream_.get(), F_SETFL, O_NONBLOCK);
        return keep(above(writing, "standard output"), output_);
    }
    return keep(nothing(), output_);
}

std::expected<void, FileError> ProcessChannels::openErrors(const ProcessErrors& errors) {
    if (std::holds_alternative<ProcessOutputs::WithOutput>(errors))
        return keep(above(output_, "standard error"), errors_);
    if (std::holds_alternative<ProcessOutputs::Captured>(errors)) {
        auto made = keep(memory(), errors_);
        return made ? keep(above(errors_, "standard error"), capturedErrors_) : made;
    }
    return keep(nothing(), errors_);
}

void ProcessChannels::closeChildEnds() {
    input_.reset();
    output_.reset();
    errors_.reset();
}

Bytes ProcessChannels::captured(const FileDescriptor& memory) {
    struct stat status{};
    if (!memory || ::fstat(memory.get(), &status) != 0) return {};
    const off_t size = std::min(status.st_size, maxCaptured);
    Bytes bytes(static_cast<std::size_t>(size));
    // A short read means that a process outside the group has truncated the file.
    const ssize_t count = ::pread(memory.get(), bytes.data(), bytes.size(), status.st_size - size);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return bytes;
}

}  // namespace larkmoor
