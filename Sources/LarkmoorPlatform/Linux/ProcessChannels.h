// The descriptors behind a program's three: what it reads and writes, and our ends of that.
#pragma once

#include <expected>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorPlatform/Linux/SpawnedProcess.h"
#include "LarkmoorPlatform/ProcessRequest.h"

namespace larkmoor {

/// All are closed on exec. The program's own are let go of once it runs, or a pipe would never end.
class ProcessChannels {
  public:
    /// Takes the input out of the request; the error names the file that could not be opened.
    static std::expected<ProcessChannels, FileError> open(ProcessRequest& request);

    SpawnDescriptors given() const { return {.input = input_.get(), .output = output_.get(), .errors = errors_.get()}; }
    void letGo();

    /// What the program has written so far, if it is captured.
    Bytes capturedOutput() const { return captured(capturedOutput_); }
    Bytes capturedErrors() const { return captured(capturedErrors_); }
    /// The reading end of the pipe for an output that is told; none for any other. It does not block.
    FileDescriptor takeTold() { return std::move(told_); }

  private:
    static constexpr off_t mostCaptured = 16 << 20;

    std::expected<void, FileError> openInput(ProcessInput& input);
    std::expected<void, FileError> openOutput(const ProcessOutput& output);
    std::expected<void, FileError> openErrors(const ProcessErrors& errors);
    static Bytes captured(const FileDescriptor& memory);

    FileDescriptor input_;
    FileDescriptor output_;
    FileDescriptor errors_;
    FileDescriptor capturedOutput_;
    FileDescriptor capturedErrors_;
    FileDescriptor told_;
};

}  // namespace larkmoor
