#include "LarkmoorPlatform/Process.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace larkmoor {

std::string homeFolder() {
    std::string home;
    if (const char* named = std::getenv("HOME"); named != nullptr && *named == '/') {
        home = named;
    } else {
        passwd entry{};
        passwd* found = nullptr;
        std::array<char, 4096> room{};
        if (::getpwuid_r(::getuid(), &entry, room.data(), room.size(), &found) == 0 && found != nullptr)
            home = entry.pw_dir;
    }
    while (home.size() > 1 && home.back() == '/') home.pop_back();
    return home;
}

std::string environmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

}  // namespace larkmoor
