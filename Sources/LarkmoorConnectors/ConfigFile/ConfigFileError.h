// Why another application's configuration file, or its copy, could not be written.
#pragma once

#include <string>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor {

struct ConfigFileErrorCases {
    struct WriteFailed {
        std::string path;
        std::string reason;
        bool operator==(const WriteFailed&) const = default;
    };
    struct NotWritable {
        std::string path;
        bool operator==(const NotWritable&) const = default;
    };
};

class [[nodiscard]] ConfigFileError
    : public ClosedVariant<ConfigFileErrorCases, ConfigFileErrorCases::WriteFailed, ConfigFileErrorCases::NotWritable> {
  public:
    using ClosedVariant::ClosedVariant;

    static ConfigFileError writeFailed(std::string path, std::string reason);
    /// `code` is an errno; its words are the reason.
    static ConfigFileError writeFailed(std::string path, int code);
    static ConfigFileError notWritable(std::string path);

    /// One sentence that names the path, for a person.
    std::string description() const;
};

}  // namespace larkmoor
