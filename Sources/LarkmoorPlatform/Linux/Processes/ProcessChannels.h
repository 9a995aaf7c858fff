// A child process's standard descriptors, and our ends of them.
#pragma once

#include <expected>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorPlatform/Linux/Processes/SpawnedProcess.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// All are close-on-exec. The child's ends are closed here once it runs, since a pipe would never end otherwise.
class ProcessChannels {
  public:
    /// Moves the input out of the request; the error names the file that could not be opened.
    static std::expected<ProcessChannels, FileError> open(ProcessRequest& request);

    SpawnDescriptors childEnds() const {
        return {.input = input_.get(), .output = output_.get(), .errors = errors_.get()};
    }
    void closeChildEnds();

    /// What the child has written so far, if it is captured.
    Bytes capturedOutput() const { return captured(capturedOutput_); }
    Bytes capturedErrors() const { return captured(capturedErrors_); }
    /// The non-blocking reading end of a streamed output's pipe; invalid for any other output.
    FileDescriptor takeStream() { return std::move(stream_); }

  private:
    static constexpr off_t maxCaptured = 16 << 20;

    std::expected<void, FileError> openInput(ProcessInput& input);
    std::expected<void, FileError> openOutput(const ProcessOutput& output);
    std::expected<void, FileError> openErrors(const ProcessErrors& errors);
    static Bytes captured(const FileDescriptor& memory);

    FileDescriptor input_;
    FileDescriptor output_;
    FileDescriptor errors_;
    FileDescriptor capturedOutput_;
    FileDescriptor capturedErrors_;
    FileDescriptor stream_;
};

}  // namespace larkmoor
