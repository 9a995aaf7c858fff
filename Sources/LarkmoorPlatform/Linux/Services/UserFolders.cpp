#include "LarkmoorPlatform/Linux/Services/UserFolders.h"

#include <algorithm>
#include <cstdlib>

#include "LarkmoorPlatform/Process.h"

namespace larkmoor {

namespace {

/// `find` is as getenv(3).
template <class Find>
UserFolders folders(const std::string& home, const Find& find) {
    const auto folder = [&](const char* variable, const char* inHome) {
        const char* path = find(variable);
        return path != nullptr && *path == '/' ? std::string{path} : home + inHome;
    };
    return {.config = folder("XDG_CONFIG_HOME", "/.config"), .data = folder("XDG_DATA_HOME", "/.local/share")};
}

}  // namespace

UserFolders UserFolders::current() {
    return folders(homeFolder(), [](const char* variable) { return std::getenv(variable); });
}

UserFolders UserFolders::of(const std::vector<std::string>& environment) {
    const auto find = [&environment](const std::string& variable) -> const char* {
        const auto begins = [&](const std::string& each) { return each.starts_with(variable + "="); };
        const auto found = std::ranges::find_if(environment, begins);
        return found == environment.end() ? nullptr : found->c_str() + variable.size() + 1;
    };
    const char* home = find("HOME");
    return folders(home != nullptr && *home == '/' ? home : homeFolder(), find);
}

}  // namespace larkmoor
