#include "LarkmoorPlatform/ProcessTable.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Text.h"

namespace larkmoor::ProcessTable {

namespace {

using Microseconds = std::chrono::microseconds;

Microseconds now(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return std::chrono::duration_cast<Microseconds>(std::chrono::seconds{time.tv_sec} +
                                                    std::chrono::nanoseconds{time.tv_nsec});
}

std::optional<std::int64_t> number(std::string_view text) {
    std::int64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) return std::nullopt;
    return value;
}

std::string fileText(const std::string& path) {
    const auto bytes = Files::read(path);
    return bytes ? std::string{trimmed(asText(*bytes))} : std::string{};
}

/// "{boot id} {microseconds}": the real-time moment of the boot as the family agreed on it.
std::optional<Microseconds> agreedBase(const std::string& file, const std::string& boot) {
    const std::string text = fileText(file);
    if (boot.empty() || !text.starts_with(boot + " ")) return std::nullopt;
    const auto base = number(std::string_view{text}.substr(boot.size() + 1));
    return base ? std::optional{Microseconds{*base}} : std::nullopt;
}

Microseconds takeBase() {
    const Microseconds own = now(CLOCK_REALTIME) - now(CLOCK_BOOTTIME);
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime == nullptr || *runtime != '/') return own;
    const std::string boot = fileText("/proc/sys/kernel/random/boot_id");
    const std::string folder = std::string{runtime} + "/larkmoor";
    const std::string file = folder + "/boot-base";
    if (const auto agreed = agreedBase(file, boot)) return *agreed;

    // One at a time: whoever comes first speaks for all, and a file of an earlier boot makes way.
    if (!Files::makeFolders(folder, 0700)) return own;
    const FileDescriptor gate{::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!gate || ::flock(gate.get(), LOCK_EX) != 0) return own;
    if (const auto agreed = agreedBase(file, boot)) return *agreed;
    static_cast<void>(Files::replace(file, asBytes(fmt::format("{} {}\n", boot, own.count())), 0600));
    return agreedBase(file, boot).value_or(own);
}

/// The 22nd field of /proc/PID/stat (proc(5)): clock ticks after the boot. The second field, the name, may hold blanks.
std::optional<std::int64_t> startTicks(pid_t process) {
    const std::string text = fileText(fmt::format("/proc/{}/stat", process));
    const auto nameEnd = text.rfind(')');
    if (nameEnd == std::string::npos) return std::nullopt;
    std::string_view rest = std::string_view{text}.substr(nameEnd + 1);
    for (int field = 2; field < 22; ++field) {
        const auto blank = rest.find(' ');
        if (blank == std::string_view::npos) return std::nullopt;
        rest.remove_prefix(blank + 1);
    }
    return number(rest.substr(0, rest.find(' ')));
}

}  // namespace

std::optional<std::chrono::system_clock::time_point> start(pid_t process) {
    const auto ticks = startTicks(process);
    if (!ticks) return std::nullopt;
    static const Microseconds base = takeBase();
    const Microseconds afterBoot{*ticks * (1'000'000 / ::sysconf(_SC_CLK_TCK))};
    return std::chrono::system_clock::time_point{base + afterBoot};
}

}  // namespace larkmoor::ProcessTable
