#include "LarkmoorPlatform/Linux/Processes/SystemProcess.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorPlatform/Process.h"

namespace larkmoor {

std::optional<std::string> processExecutable(const std::string& process) {
    std::error_code failed;
    std::string path = std::filesystem::read_symlink("/proc/" + process + "/exe", failed).string();
    if (failed) return std::nullopt;
    // The kernel's mark for a file that was removed or replaced.
    constexpr std::string_view suffix = " (deleted)";
    if (path.ends_with(suffix)) path.resize(path.size() - suffix.size());
    return path;
}

std::optional<std::uint64_t> processStart(const std::string& process) {
    const auto bytes = Files::read("/proc/" + process + "/stat");
    if (!bytes) return std::nullopt;
    // Field 22 of proc(5); field 2, the name, may hold spaces and parentheses.
    std::string_view text = asText(*bytes);
    text.remove_prefix(std::min(text.rfind(')'), text.size()));
    for (int field = 2; field < 22; ++field) {
        const auto blank = text.find(' ');
        if (blank == std::string_view::npos) return std::nullopt;
        text.remove_prefix(blank + 1);
    }
    std::uint64_t ticks = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), ticks);
    return read.ec == std::errc{} ? std::optional{ticks} : std::nullopt;
}

std::optional<std::string> runningExecutable() { return processExecutable("self"); }

std::optional<bool> isRunningExecutable(const std::string& path) {
    struct stat running{};
    struct stat present{};
    // The first leads to the file itself, whatever became of its name.
    if (::stat("/proc/self/exe", &running) != 0 || ::stat(path.c_str(), &present) != 0) return std::nullopt;
    return running.st_dev == present.st_dev && running.st_ino == present.st_ino;
}

}  // namespace larkmoor

namespace larkmoor::ProcessTable {

namespace {

using Microseconds = std::chrono::microseconds;

Microseconds now(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return std::chrono::duration_cast<Microseconds>(std::chrono::seconds{time.tv_sec} +
                                                    std::chrono::nanoseconds{time.tv_nsec});
}

std::string fileText(const std::string& path) {
    const auto bytes = Files::read(path);
    return bytes ? std::string{trimmed(asText(*bytes))} : std::string{};
}

/// "{boot id} {microseconds}": the real time of the boot, on which all programs of the family agree.
std::optional<Microseconds> sharedBase(const std::string& file, const std::string& boot) {
    const std::string text = fileText(file);
    if (boot.empty() || !text.starts_with(boot + " ")) return std::nullopt;
    const auto base = wholeNumber<std::int64_t>(std::string_view{text}.substr(boot.size() + 1));
    return base ? std::optional{Microseconds{*base}} : std::nullopt;
}

Microseconds todaysBase() { return now(CLOCK_REALTIME) - now(CLOCK_BOOTTIME); }

/// The kernel's own word (proc(5): btime), in whole seconds: unlike a difference of two clocks it is the same to the
/// microsecond for whoever asks, as long as the clock is not set.
Microseconds kernelsBase() {
    constexpr std::string_view key = "\nbtime ";
    const std::string text = fileText("/proc/stat");
    const auto at = text.find(key);
    if (at == std::string::npos) return todaysBase();
    const std::string_view rest = std::string_view{text}.substr(at + key.size());
    const auto seconds = wholeNumber<std::int64_t>(rest.substr(0, rest.find('\n')));
    return seconds ? Microseconds{std::chrono::seconds{*seconds}} : todaysBase();
}

Microseconds bootBase() {
    const Microseconds own = kernelsBase();
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime == nullptr || *runtime != '/') return own;
    const std::string boot = fileText("/proc/sys/kernel/random/boot_id");
    const std::string folder = std::string{runtime} + "/larkmoor";
    const std::string file = folder + "/boot-base";
    if (const auto shared = sharedBase(file, boot)) return *shared;

    // Under a lock, so that the first caller decides for all; a file of an earlier boot is replaced.
    if (!Files::makeFolders(folder, 0700)) return own;
    const FileDescriptor lock{::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!lock || ::flock(lock.get(), LOCK_EX) != 0) return own;
    if (const auto shared = sharedBase(file, boot)) return *shared;
    static_cast<void>(Files::replace(file, asBytes(fmt::format("{} {}\n", boot, own.count())), 0600));
    return sharedBase(file, boot).value_or(own);
}

std::optional<Microseconds> startAfterBoot(pid_t process) {
    const auto ticks = processStart(std::to_string(process));
    const auto microsecondsPerTick = 1'000'000 / ::sysconf(_SC_CLK_TCK);
    return ticks ? std::optional{Microseconds{static_cast<std::int64_t>(*ticks) * microsecondsPerTick}} : std::nullopt;
}

}  // namespace

using TimePoint = std::chrono::system_clock::time_point;

std::optional<TimePoint> start(pid_t process) {
    const auto afterBoot = startAfterBoot(process);
    if (!afterBoot) return std::nullopt;
    static const Microseconds base = bootBase();
    return TimePoint{base + *afterBoot};
}

bool isStartedWith(pid_t process, const std::vector<std::string>& words) {
    std::string wanted(1, '\0');
    for (const std::string& word : words) wanted += word + '\0';
    const auto command = Files::read(fmt::format("/proc/{}/cmdline", process));
    return command && asText(*command).contains(wanted);
}

std::optional<pid_t> startedWith(const std::vector<std::string>& words) {
    for (const std::string& name : Files::names("/proc").value_or(std::vector<std::string>{})) {
        const auto process = wholeNumber<pid_t>(name);
        struct stat status{};
        const bool isOurs = process && ::stat(("/proc/" + name).c_str(), &status) == 0 && status.st_uid == ::getuid();
        if (isOurs && isStartedWith(*process, words)) return process;
    }
    return std::nullopt;
}

}  // namespace larkmoor::ProcessTable
