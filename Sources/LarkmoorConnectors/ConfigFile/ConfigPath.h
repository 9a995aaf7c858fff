// Where a configuration file really lies, and the parts of its path as text.
#pragma once

#include <string>
#include <string_view>

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
