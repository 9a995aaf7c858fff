// The version of the running program. Never fails: an unknown version is "0".
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace larkmoor::ClientVersion {

inline constexpr std::string_view unknown = "0";

/// How the search reads the disk.
struct Seams {
    std::function<std::optional<std::string>(const std::filesystem::path&)> plistVersion;
    std::function<std::optional<std::string>(const std::filesystem::path&)> versionFileText;
    std::function<bool(const std::filesystem::path&)> exists;

    static Seams live();
};

/// The trimmed text if it is digits between full stops ("1.10", "007"), otherwise nullopt.
std::optional<std::string> shaped(const std::optional<std::string>& text);

/// The property list of the application bundle that the executable lies in: "X.app/Contents/MacOS/program".
std::optional<std::filesystem::path> appInfoPlist(const std::filesystem::path& executable);

/// The first file "VERSION" in `folder` and up to `levels` folders above it.
std::optional<std::filesystem::path> versionFile(const std::filesystem::path& folder, int levels,
                                                 const std::function<bool(const std::filesystem::path&)>& exists);

/// The bundle's version, otherwise that of the nearest "VERSION" file, otherwise `unknown`.
std::string resolve(const std::optional<std::filesystem::path>& executable, const Seams& seams);

/// The running program's version: resolved at the first call and kept, so that an update that replaces the files under
/// a running process does not change the answer. Any thread.
const std::string& current();

}  // namespace larkmoor::ClientVersion
