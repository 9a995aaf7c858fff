#include "LarkmoorPlatform/Linux/Applications/ProcessScan.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <utility>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorPlatform/Linux/Processes/SystemProcess.h"
#include "LarkmoorPlatform/PropertyList.h"

namespace larkmoor::ApplicationUnit {

namespace {

constexpr std::string_view prefix = "app-";
constexpr std::string_view scope = ".scope";
constexpr std::string_view service = ".service";

/// Decodes `\x2d` and the like, which systemd-escape(1) writes for special characters.
std::string unescaped(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        unsigned char byte = 0;
        const bool isEscape = text.size() >= 4 && text.starts_with("\\x") &&
                              std::from_chars(text.data() + 2, text.data() + 4, byte, 16).ptr == text.data() + 4;
        plain += isEscape ? static_cast<char>(byte) : text.front();
        text.remove_prefix(isEscape ? 4 : 1);
    }
    return plain;
}

std::string_view lastPart(std::string_view text) {
    const auto dash = text.rfind('-');
    return dash == std::string_view::npos ? text : text.substr(dash + 1);
}

std::optional<std::string> named(std::string_view part) {
    return part.empty() ? std::nullopt : std::optional{unescaped(part)};
}

std::optional<std::string> applicationOfScope(std::string_view body) {
    const std::string_view last = lastPart(body);
    // Some desktops omit the random part. It never has a dot, while an application behind its launcher's name has.
    const bool isRandom = last.size() < body.size() && last.find('.') == std::string_view::npos;
    if (isRandom) body.remove_suffix(last.size() + 1);
    return named(lastPart(body));
}

}  // namespace

std::optional<std::string> application(std::string_view unit) {
    if (!unit.starts_with(prefix)) return std::nullopt;
    unit.remove_prefix(prefix.size());
    if (unit.ends_with(scope)) return applicationOfScope(unit.substr(0, unit.size() - scope.size()));
    if (!unit.ends_with(service)) return std::nullopt;
    unit.remove_suffix(service.size());
    return named(lastPart(unit.substr(0, unit.find('@'))));
}

std::optional<pid_t> process(std::string_view unit) {
    constexpr pid_t greatest = 1 << 22;
    if (!application(unit) || !unit.ends_with(scope)) return std::nullopt;
    const std::string_view body = unit.substr(prefix.size(), unit.size() - prefix.size() - scope.size());
    const std::string_view last = lastPart(body);
    if (last.size() == body.size()) return std::nullopt;
    const auto number = wholeNumber<pid_t>(last);
    return number > 0 && number <= greatest && last.front() != '0' ? number : std::nullopt;
}

std::string_view name(std::string_view group) { return group.substr(group.rfind('/') + 1); }

std::string_view group(std::string_view groups) {
    while (!groups.empty()) {
        const auto end = groups.find('\n');
        std::string_view line = groups.substr(0, end);
        groups.remove_prefix(end == std::string_view::npos ? groups.size() : end + 1);
        // systemd's hierarchy: the unified one, or the named one where cgroup version 1 is still used.
        const bool isUnified = line.starts_with("0::");
        if (!isUnified && line.find(":name=systemd:") == std::string_view::npos) continue;
        for (auto slash = line.rfind('/'); slash != std::string_view::npos; slash = line.rfind('/')) {
            if (line.ends_with(scope) || line.ends_with(service))
                return application(name(line)) ? line : std::string_view{};
            line = line.substr(0, slash);
        }
    }
    return {};
}

}  // namespace larkmoor::ApplicationUnit

namespace larkmoor {

namespace {

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

std::string unitGroup(const std::string& process) {
    const auto groups = Files::read("/proc/" + process + "/cgroup");
    return groups ? std::string{ApplicationUnit::group(asText(*groups))} : std::string{};
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

std::vector<RunningApplication> ProcessScan::scan() {
    const std::lock_guard lock{lock_};
    std::vector<RunningApplication> found;
    const std::unique_ptr<DIR, CloseFolder> processes{::opendir("/proc")};
    if (!processes) return found;
    executables_.clear();
    previousBundles_ = std::exchange(bundles_, {});
    const uid_t user = ::getuid();
    std::vector<std::string> groups;  // of `found`
    FirstPrograms firsts;
    while (const dirent* entry = ::readdir(processes.get())) {
        const auto process = wholeNumber<pid_t>(entry->d_name);
        struct stat status{};
        if (!process || ::fstatat(::dirfd(processes.get()), entry->d_name, &status, 0) != 0 || status.st_uid != user)
            continue;
        std::string group = unitGroup(entry->d_name);
        if (!group.empty()) add(*process, group, firsts);
        auto executable = processExecutable(entry->d_name);
        if (!executable) continue;
        executables_.emplace(*process, *executable);
        found.push_back({.process = *process, .executable = *std::move(executable), .bundleIdentifier = {}});
        groups.push_back(std::move(group));
    }
    for (auto& [group, first] : firsts) {
        const auto known = firsts_.find(group);
        if (known != firsts_.end()) first = known->second;
    }
    firsts_ = std::move(firsts);
    for (std::size_t index = 0; index < found.size(); ++index) {
        RunningApplication& each = found[index];
        each.bundleIdentifier = bundleIdentifier(each.executable);
        if (!each.bundleIdentifier) each.bundleIdentifier = unitApplication(each.process, groups[index]);
    }
    previousBundles_.clear();
    return found;
}

void ProcessScan::add(pid_t process, const std::string& group, FirstPrograms& firsts) {
    const auto start = processStart(std::to_string(process));
    if (!start) return;
    const First one{.start = *start, .process = process};
    const auto [place, isNew] = firsts.emplace(group, one);
    if (!isNew) place->second = std::min(place->second, one);
}

/// The name of the unit decides, if it tells the process; otherwise the process that started first.
std::optional<std::string> ProcessScan::unitApplication(pid_t process, const std::string& group) const {
    const auto first = firsts_.find(group);
    if (first == firsts_.end()) return std::nullopt;
    const std::string_view unit = ApplicationUnit::name(group);
    const auto named = ApplicationUnit::process(unit);
    const bool isFirst =
        named ? *named == process
              : process == first->second.process && processStart(std::to_string(process)) == first->second.start;
    return isFirst ? ApplicationUnit::application(unit) : std::nullopt;
}

std::optional<std::string> ProcessScan::identifier(pid_t process) {
    const std::string name = std::to_string(process);
    const auto executable = processExecutable(name);
    if (!executable) return std::nullopt;
    const std::string group = unitGroup(name);
    const std::lock_guard lock{lock_};
    auto identifier = bundleIdentifier(*executable);
    return identifier ? identifier : unitApplication(process, group);
}

std::optional<std::string> ProcessScan::lastExecutable(pid_t process) {
    const std::lock_guard lock{lock_};
    const auto found = executables_.find(process);
    return found == executables_.end() ? std::nullopt : std::optional{found->second};
}

std::optional<std::string> ProcessScan::bundleIdentifier(const std::string& executable) {
    const auto bundle = enclosingBundle(executable);
    if (!bundle) return std::nullopt;
    for (const auto* known : {&bundles_, &previousBundles_}) {
        const auto found = known->find(*bundle);
        if (found != known->end()) return bundles_.emplace(*found).first->second;
    }
    const auto list = Files::read(*bundle + "/Contents/Info.plist");
    auto identifier = list ? PropertyList::textUnder(*list, "CFBundleIdentifier") : std::nullopt;
    if (identifier) bundles_.emplace(*bundle, *identifier);
    return identifier;
}

}  // namespace larkmoor
