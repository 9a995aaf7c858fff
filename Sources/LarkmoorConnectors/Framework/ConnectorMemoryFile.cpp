#include "LarkmoorConnectors/Framework/ConnectorMemoryFile.h"

#include <filesystem>

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
        std::error_code ignored;
        if (path.extension() != ".md" || fs::is_directory(path, ignored)) continue;
        if (auto file = stat(path.string())) files.push_back(std::move(*file));
    }
    return files;
}

}  // namespace larkmoor
