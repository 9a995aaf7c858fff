#include "LarkmoorPlatform/Linux/Services/UserFolders.h"

#include <cstdlib>

#include "LarkmoorPlatform/Process.h"

namespace larkmoor {

namespace {

std::string folder(const char* variable, const char* inHome) {
    const char* path = std::getenv(variable);
    return path != nullptr && *path == '/' ? std::string{path} : homeFolder() + inHome;
}

}  // namespace

UserFolders UserFolders::current() {
    return {.config = folder("XDG_CONFIG_HOME", "/.config"), .data = folder("XDG_DATA_HOME", "/.local/share")};
}

}  // namespace larkmoor
