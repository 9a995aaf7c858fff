#include "LarkmoorConnectors/Framework/Inventory.h"

#include <algorithm>
#include <filesystem>
#include <tuple>

#include "LarkmoorBase/Files.h"

namespace larkmoor {

namespace fs = std::filesystem;

std::optional<ConnectorMemoryFile> ConnectorMemoryFile::stat(const std::string& path) {
    if (!Files::exists(path)) return std::nullopt;
    ConnectorMemoryFile file{.path = path, .bytes = {}, .modified = Files::modified(path)};
    std::error_code unread;
    if (const auto size = fs::file_size(path, unread); !unread) file.bytes = static_cast<std::int64_t>(size);
    return file;
}

std::vector<ConnectorMemoryFile> ConnectorMemoryFile::markdown(const std::string& folder) {
    std::vector<ConnectorMemoryFile> files;
    for (const std::string& name : Files::names(folder).value_or(std::vector<std::string>{})) {
        const fs::path path = fs::path{folder} / name;
        if (path.extension() != ".md" || Inventory::isFolder(path.string())) continue;
        if (auto file = stat(path.string())) files.push_back(std::move(*file));
    }
    return files;
}

namespace Inventory {

std::chrono::system_clock::time_point lastActivity(const std::string& folder) {
    const auto names = Files::names(folder);
    if (!names) return distantPast;
    auto newest = Files::modified(folder).value_or(distantPast);
    for (const std::string& name : *names) {
        const std::string path = folder + "/" + name;
        if (!isFolder(path)) newest = std::max(newest, Files::modified(path).value_or(distantPast));
    }
    return newest;
}

void sortByActivity(std::vector<ConnectorProject>& projects) {
    std::ranges::sort(projects, [](const ConnectorProject& left, const ConnectorProject& right) {
        return std::tie(right.lastActivity, left.path) < std::tie(left.lastActivity, right.path);
    });
}

bool isFolder(const std::string& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

}  // namespace Inventory

}  // namespace larkmoor
