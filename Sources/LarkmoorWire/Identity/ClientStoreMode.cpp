#include "LarkmoorWire/Identity/ClientStoreMode.h"

#include <filesystem>

namespace larkmoor::ClientStoreMode {

std::expected<void, FileError> write(BytesView data, const std::string& toFile) {
    const std::string parent = std::filesystem::path{toFile}.parent_path().string();
    if (auto made = Files::makeFolders(parent, privateFolder.posixPermissions); !made) return made;
    return Files::replace(toFile, data, privateFile.posixPermissions);
}

}  // namespace larkmoor::ClientStoreMode
