#include "LarkmoorPlatform/Linux/Services/UserFolders.h"

#include <cstdlib>

#include "LarkmoorPlatform/HomeFolder.h"

namespace larkmoor {

namespace {

std::string named(const char* variable, const char* inHome) {
    const char* path = std::getenv(variable);
    return path != nullptr && *path == '/' ? std::string{path} : homeFolder() + inHome;
}

}  // namespace

UserFolders UserFolders::current() {
    return {.config = named("XDG_CONFIG_HOME", "/.config"), .data = named("XDG_DATA_HOME", "/.local/share")};
}

}  // namespace larkmoor
