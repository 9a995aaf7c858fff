#include "LarkmoorPlatform/Linux/ProcessExecutable.h"

#include <filesystem>
#include <string_view>
#include <system_error>

namespace larkmoor {

std::optional<std::string> processExecutable(const std::string& process) {
    std::error_code failed;
    std::string path = std::filesystem::read_symlink("/proc/" + process + "/exe", failed).string();
    if (failed) return std::nullopt;
    // The kernel marks a file that was replaced since; the place that it had is what we are asked for.
    constexpr std::string_view mark = " (deleted)";
    if (path.ends_with(mark)) path.resize(path.size() - mark.size());
    return path;
}

}  // namespace larkmoor
