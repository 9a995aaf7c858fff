// The real path of a configuration file, the parts of a path as text, and the errors that name a path.
#pragma once

#include <string>
#include <string_view>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor {

namespace ConfigPath {

/// The path to read and write. Symbolic links are resolved, so that a link into a folder of dotfiles survives the
/// rename; one that leads to no file yet is followed to where that file would be. For a file that does not exist the
/// folder is resolved; if that fails too, the result is the path as it stands. Of links in a circle it is `path`.
std::string canonical(const std::string& path);

/// Whether the path itself is a symbolic link, wherever that leads.
bool isLink(const std::string& path);

/// The path's last component, without slashes.
std::string_view lastComponent(std::string_view path);

/// The path without its last component; "/" for a file in the root, and "." for a bare name.
std::string folder(std::string_view path);

/// The path of the file `name` in the folder of `path`.
std::string sibling(std::string_view path, std::string_view name);

}  // namespace ConfigPath

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

/// Why another application's file, or the copy of it, could not be written.
class [[nodiscard]] ConfigFileError
    : public ClosedVariant<ConfigFileErrorCases, ConfigFileErrorCases::WriteFailed, ConfigFileErrorCases::NotWritable> {
  public:
    using ClosedVariant::ClosedVariant;

    static ConfigFileError writeFailed(std::string path, std::string reason);
    /// `code` is an errno; the reason is its system message.
    static ConfigFileError writeFailed(std::string path, int code);
    static ConfigFileError notWritable(std::string path);

    /// One sentence that names the path, for the user.
    std::string description() const;
};

}  // namespace larkmoor
