// Files and folders of a model store: copies that are whole, and changes that outlast a loss of power.
#pragma once

#include <sys/stat.h>

#include <expected>
#include <initializer_list>
#include <optional>
#include <string>

#include "LarkmoorLocalModels/Store/ModelStore.h"

namespace larkmoor::StoreFile {

/// The name of a copy in the making; a file that has it is a remnant.
inline constexpr std::string_view temporaryName = ".larkmoor-copy";

/// Links followed; nullopt if there is nothing, as at the end of a dangling link.
std::expected<std::optional<struct stat>, ModelStoreError> status(const std::string& path);

/// Whether both exist and are one file or folder, by whatever paths.
bool areOne(const std::string& first, const std::string& second);

/// Whether it is a symbolic link.
bool isLink(const std::string& path);

/// Whether it is a symbolic link to nothing, as to a volume that is not mounted.
bool isDangling(const std::string& path);

/// Whether all exist, on one file system.
bool areOnOneVolume(std::initializer_list<std::string> paths);

/// Copies the regular file with its permissions by way of `temporary`, which is on the volume of `to`. The bytes are on
/// the disk and compared before `to` is replaced; on failure `to` is as it was, and the temporary file is gone.
std::expected<void, ModelStoreError> copy(const std::string& from, const std::string& to, const std::string& temporary);

/// Waits until the names in the folder, and in those above it as far as `last`, are on the disk.
std::expected<void, ModelStoreError> sync(const std::string& folder, const std::string& last);

}  // namespace larkmoor::StoreFile
