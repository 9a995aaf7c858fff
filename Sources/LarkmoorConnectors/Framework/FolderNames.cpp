#include "LarkmoorConnectors/Framework/FolderNames.h"

#include <algorithm>
#include <filesystem>

namespace larkmoor {

std::vector<std::string> namesInFolder(const std::string& folder) {
    namespace fs = std::filesystem;
    std::vector<std::string> names;
    std::error_code failed;
    for (fs::directory_iterator entry{folder, failed}, end; !failed && entry != end; entry.increment(failed)) {
        names.push_back(entry->path().filename().string());
    }
    if (failed) return {};
    std::ranges::sort(names);
    return names;
}

}  // namespace larkmoor
