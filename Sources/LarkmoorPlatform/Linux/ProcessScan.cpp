#include "LarkmoorPlatform/Linux/ProcessScan.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <memory>
#include <utility>

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/Linux/ApplicationUnit.h"
#include "LarkmoorPlatform/Linux/ProcessExecutable.h"
#include "LarkmoorPlatform/PropertyList.h"

namespace larkmoor {

namespace {

struct Closed {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

std::optional<pid_t> processNumber(std::string_view name) {
    pid_t number = 0;
    const auto read = std::from_chars(name.data(), name.data() + name.size(), number);
    const bool isNumber = read.ec == std::errc{} && read.ptr == name.data() + name.size();
    return isNumber ? std::optional{number} : std::nullopt;
}

/// The folder "X.app" of "X.app/Contents/MacOS/program".
std::optional<std::string> enclosingBundle(const std::string& executable) {
    constexpr std::string_view inside = "/Contents/MacOS";
    const std::string_view folder = std::string_view{executable}.substr(0, executable.rfind('/'));
    if (!folder.ends_with(inside)) return std::nullopt;
    const std::string_view bundle = folder.substr(0, folder.size() - inside.size());
    return bundle.ends_with(".app") ? std::optional{std::string{bundle}} : std::nullopt;
}

}  // namespace

std::vector<RunningApplication> ProcessScan::look() {
    const std::lock_guard lock{lock_};
    std::vector<RunningApplication> found;
    const std::unique_ptr<DIR, Closed> processes{::opendir("/proc")};
    if (!processes) return found;
    listed_.clear();
    bundlesBefore_ = std::exchange(bundles_, {});
    const uid_t user = ::getuid();
    while (const dirent* entry = ::readdir(processes.get())) {
        const auto process = processNumber(entry->d_name);
        struct stat status{};
        if (!process || ::fstatat(::dirfd(processes.get()), entry->d_name, &status, 0) != 0 || status.st_uid != user)
            continue;
        auto executable = processExecutable(entry->d_name);
        if (!executable) continue;
        listed_.emplace(*process, *executable);
        auto bundleIdentifier = identifier(entry->d_name, *executable);
        found.push_back({.process = *process,
                         .executable = *std::move(executable),
                         .bundleIdentifier = std::move(bundleIdentifier)});
    }
    bundlesBefore_.clear();
    return found;
}

std::optional<std::string> ProcessScan::identifier(pid_t process) {
    const std::string name = std::to_string(process);
    const auto executable = processExecutable(name);
    if (!executable) return std::nullopt;
    const std::lock_guard lock{lock_};
    return identifier(name, *executable);
}

std::optional<std::string> ProcessScan::listed(pid_t process) {
    const std::lock_guard lock{lock_};
    const auto found = listed_.find(process);
    return found == listed_.end() ? std::nullopt : std::optional{found->second};
}

std::optional<std::string> ProcessScan::identifier(const std::string& process, const std::string& executable) {
    if (auto identifier = ofBundle(executable)) return identifier;
    const auto groups = Files::read("/proc/" + process + "/cgroup");
    return groups ? ApplicationUnit::applicationOfGroups(asText(*groups)) : std::nullopt;
}

std::optional<std::string> ProcessScan::ofBundle(const std::string& executable) {
    const auto bundle = enclosingBundle(executable);
    if (!bundle) return std::nullopt;
    for (const auto* known : {&bundles_, &bundlesBefore_}) {
        const auto found = known->find(*bundle);
        if (found != known->end()) return bundles_.emplace(*found).first->second;
    }
    const auto list = Files::read(*bundle + "/Contents/Info.plist");
    auto identifier = list ? PropertyList::textUnder(*list, "CFBundleIdentifier") : std::nullopt;
    if (identifier) bundles_.emplace(*bundle, *identifier);
    return identifier;
}

}  // namespace larkmoor
