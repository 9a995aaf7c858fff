#include "connect/OpenedFiles.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <map>

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor::bench {

std::vector<std::string> openedFiles(const std::string& folder, const std::function<void()>& work) {
    namespace fs = std::filesystem;
    const FileDescriptor watch{::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)};
    std::map<int, fs::path> folders;
    const auto add = [&](const fs::path& path) {
        folders[::inotify_add_watch(watch.get(), path.c_str(), IN_OPEN)] = path.lexically_relative(folder);
    };
    add(folder);
    for (const auto& entry : fs::recursive_directory_iterator{folder}) {
        if (entry.is_directory()) add(entry.path());
    }
    work();
    std::vector<std::string> opened;
    alignas(inotify_event) std::array<char, 65536> buffer{};
    const ssize_t size = ::read(watch.get(), buffer.data(), buffer.size());
    for (ssize_t at = 0; at < size;) {
        inotify_event event{};
        std::memcpy(&event, buffer.data() + at, sizeof event);
        const char* name = buffer.data() + at + sizeof event;
        if (event.len > 0 && (event.mask & IN_ISDIR) == 0) opened.push_back((folders[event.wd] / name).string());
        at += static_cast<ssize_t>(sizeof event + event.len);
    }
    return opened;
}

}  // namespace larkmoor::bench
