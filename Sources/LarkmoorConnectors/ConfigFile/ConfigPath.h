// Where a configuration file really lies, and the parts of its path as text.
#pragma once

#include <string>
#include <string_view>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor::ConfigPath {

/// The location to read and write: a link into somebody's dotfiles is followed, so that the link survives a rename. Of
/// a file that is not there the folder is resolved; if that fails too, `path` comes back as given.
std::string canonical(const std::string& path);

/// The path's last component, without slashes.
std::string_view lastComponent(std::string_view path);

/// The path less its last component; "/" for what lies in the root, and "." for a bare name.
std::string folder(std::string_view path);

/// The path of what is named `name` in the folder of `path`.
std::string sibling(std::string_view path, std::string_view name);

}  // namespace larkmoor::ConfigPath

namespace larkmoor {

// Why another application's configuration file, or its copy, could not be written.
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
