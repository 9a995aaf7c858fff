#include "LarkmoorPlatform/Linux/Services/AgentUnit.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <utility>
#include <vector>

#include "LarkmoorPlatform/Linux/Services/UnitText.h"
#include "LarkmoorPlatform/PropertyList.h"

namespace larkmoor {

namespace {

using Value = PropertyListValue;
using Dictionary = PropertyListValue::Dictionary;

constexpr std::string_view sourceKey = "SourcePath=";
/// launchd's default ThrottleInterval, in seconds.
constexpr double defaultThrottle = 10;
/// systemd counts an end by these signals as success; launchd only an exit with status 0.
constexpr std::string_view cleanSignals = "SIGHUP SIGINT SIGPIPE SIGTERM";

/// Keys that change when or how an agent runs and have no counterpart in a service unit.
constexpr std::array unsupportedKeys{"Sockets",
                                     "StartCalendarInterval",
                                     "StartInterval",
                                     "StartOnMount",
                                     "WatchPaths",
                                     "QueueDirectories",
                                     "inetdCompatibility",
                                     "LaunchEvents",
                                     "LaunchOnlyOnce",
                                     "AbandonProcessGroup",
                                     "SoftResourceLimits",
                                     "HardResourceLimits",
                                     "RootDirectory",
                                     "UserName",
                                     "EnableGlobbing",
                                     "GroupName",
                                     "Disabled",
                                     "LimitLoadToHosts",
                                     "LimitLoadFromHosts"};

/// One translation; keeps the first error.
class Translation {
  public:
    Translation(const Dictionary& list, const std::string& listPath, const AgentGuard& guard)
        : list_(list), listPath_(listPath), guard_(guard) {}

    std::expected<AgentUnit, std::string> unit() {
        const std::string label = readLabel();
        for (const char* key : unsupportedKeys) {
            const Value* value = find(key);
            if (value != nullptr && *value != Value{false}) fail(fmt::format("{} has no counterpart here", key));
        }
        const std::string command = readCommand();
        const std::string restart = readRestart();
        std::string service =
            fmt::format("ExecStart={}\n{}", command, restart) + readEnvironment() + readPaths() + readNumbers();
        if (error_) return std::unexpected(*error_);
        return AgentUnit{.name = AgentUnit::nameOf(label),
                         .text = unitSection(label) + "\n[Service]\n" + service +
                                 (startsAtLoad_ ? "\n[Install]\nWantedBy=default.target\n" : ""),
                         .startsAtLoad = startsAtLoad_};
    }

  private:
    void fail(std::string words) {
        if (!error_) error_ = std::move(words);
    }

    const Value* find(std::string_view key) const {
        const auto found = list_.find(key);
        return found == list_.end() ? nullptr : &found->second;
    }

    /// The value under the key; null if there is none, and an error if it has another type.
    template <class T>
    const T* read(std::string_view key, std::string_view kind) {
        const Value* value = find(key);
        if (value == nullptr) return nullptr;
        const T* typed = value->as<T>();
        if (typed == nullptr) fail(fmt::format("{} is no {}", key, kind));
        return typed;
    }
    const std::string* readText(std::string_view key) { return read<std::string>(key, "text"); }

    std::optional<double> readNumber(std::string_view key) {
        const Value* value = find(key);
        if (value == nullptr) return std::nullopt;
        if (const auto* whole = value->as<std::int64_t>()) return static_cast<double>(*whole);
        const auto* real = value->as<double>();
        if (real != nullptr && std::isfinite(*real)) return *real;
        fail(fmt::format("{} is no number", key));
        return std::nullopt;
    }

    std::string quoted(std::string_view what, std::string_view text) {
        const auto words = UnitText::quoted(text);
        if (!words) fail(fmt::format("{} holds a control character", what));
        return words.value_or("");
    }
    std::string pathValue(std::string_view what, const std::string& path) {
        const auto words = UnitText::path(path);
        if (!words) fail(fmt::format("{} is no path that a unit can name: {}", what, path));
        return words.value_or("");
    }

    std::string readLabel() {
        const std::string* label = readText("Label");
        if (label == nullptr) fail("it has no Label");
        if (label != nullptr && !UnitText::isName(*label))
            fail(fmt::format("its Label cannot name a unit: {}", *label));
        return label == nullptr ? "" : *label;
    }

    std::string unitSection(const std::string& label) {
        const auto source = UnitText::path(listPath_);
        std::string guards;
        for (const std::string& path : label == guard_.label ? guard_.paths : std::vector<std::string>{}) {
            const auto guard = UnitText::path(path);
            if (guard) guards += fmt::format("ConditionPathExists=!{}\n", *guard);
        }
        return fmt::format("[Unit]\nDescription={}\n{}{}{}StartLimitIntervalSec=0\n", label,
                           source ? fmt::format("{}{}\n", sourceKey, *source) : "",
                           program_ ? fmt::format("ConditionFileIsExecutable={}\n", *program_) : "", guards);
    }

    /// ExecStart: the program's path, with argv[0] if that differs.
    std::string readCommand() {
        std::vector<std::string> words = readArguments();
        std::string program;
        if (const std::string* inBundle = readText("BundleProgram")) {
            program = inBundlePath(*inBundle);
        } else if (const std::string* named = readText("Program")) {
            program = *named;
        } else if (!words.empty()) {
            program = words.front();
        } else {
            fail("it names no program");
        }
        const bool isSearched = !program.contains('/');
        if (!isSearched && !program.starts_with('/')) fail(fmt::format("its program is no absolute path: {}", program));
        if (!isSearched) program_ = UnitText::path(program);
        if (words.empty()) words.push_back(program);
        const bool isRenamed = words.front() != program;
        std::string command = quoted("its program", fmt::format(":{}{}", isRenamed ? "@" : "", program));
        for (std::size_t index = isRenamed ? 0 : 1; index < words.size(); ++index)
            command += " " + quoted("ProgramArguments", words[index]);
        return command;
    }

    std::vector<std::string> readArguments() {
        std::vector<std::string> words;
        const auto* arguments = read<Value::Array>("ProgramArguments", "list");
        if (arguments == nullptr) return words;
        for (const Value& argument : *arguments) {
            const auto* word = argument.as<std::string>();
            if (word == nullptr) fail("ProgramArguments holds something that is no text");
            words.push_back(word == nullptr ? "" : *word);
        }
        return words;
    }

    /// The list lies in BUNDLE/Contents/Library/LaunchAgents.
    std::string inBundlePath(const std::string& program) {
        const std::filesystem::path list{listPath_};
        const auto contents = list.parent_path().parent_path().parent_path();
        if (contents.filename() != "Contents") fail("it names a BundleProgram and lies in no bundle");
        return (contents.parent_path() / program).lexically_normal().string();
    }

    std::string readRestart() {
        const bool* atLoad = read<bool>("RunAtLoad", "flag");
        startsAtLoad_ = atLoad != nullptr && *atLoad;
        const std::string_view policy = readKeepAlive();
        // KeepAlive implies RunAtLoad.
        if (policy.empty()) return "";
        startsAtLoad_ = true;
        std::string lines = fmt::format("Restart={}\nRestartSec={:g}\n", policy,
                                        std::max(0.0, readNumber("ThrottleInterval").value_or(defaultThrottle)));
        if (policy == onFailure) lines += fmt::format("RestartForceExitStatus={}\n", cleanSignals);
        if (policy == onSuccess) lines += fmt::format("RestartPreventExitStatus={}\n", cleanSignals);
        return lines;
    }

    std::string_view readKeepAlive() {
        const Value* keepAlive = find("KeepAlive");
        if (keepAlive == nullptr) return "";
        if (const bool* always = keepAlive->as<bool>()) return *always ? "always" : "";
        const auto* conditions = keepAlive->as<Dictionary>();
        const auto success = conditions == nullptr ? Dictionary::const_iterator{} : conditions->find("SuccessfulExit");
        const bool isAlone = conditions != nullptr && conditions->size() == 1 && success != conditions->end();
        const bool* wanted = isAlone ? success->second.as<bool>() : nullptr;
        if (wanted != nullptr) return *wanted ? onSuccess : onFailure;
        fail("its KeepAlive has no counterpart here");
        return "";
    }

    std::string readEnvironment() {
        const auto* variables = read<Dictionary>("EnvironmentVariables", "dictionary");
        std::string lines;
        if (variables == nullptr) return lines;
        for (const auto& [name, value] : *variables) {
            const auto* text = value.as<std::string>();
            if (text == nullptr || !UnitText::isVariable(name)) {
                fail(fmt::format("EnvironmentVariables: {} cannot be set", name));
                continue;
            }
            lines += fmt::format("Environment={}\n", quoted("EnvironmentVariables", name + "=" + *text));
        }
        return lines;
    }

    std::string readPaths() {
        std::string lines;
        const auto add = [&](std::string_view key, std::string_view directive) {
            if (const std::string* path = readText(key))
                lines += fmt::format("{}{}\n", directive, pathValue(key, *path));
        };
        add("WorkingDirectory", "WorkingDirectory=");
        add("StandardInPath", "StandardInput=file:");
        add("StandardOutPath", "StandardOutput=append:");
        add("StandardErrorPath", "StandardError=append:");
        return lines;
    }

    std::string readNumbers() {
        std::string lines;
        if (const auto nice = readNumber("Nice")) lines += fmt::format("Nice={:.0f}\n", *nice);
        if (const auto* mask = read<std::int64_t>("Umask", "number")) lines += fmt::format("UMask={:04o}\n", *mask);
        // launchd's; the service manager's own, 90 s, is longer than somebody waits who cancels or quits.
        constexpr double exitTimeOut = 20;
        const double timeout = readNumber("ExitTimeOut").value_or(exitTimeOut);
        lines += timeout <= 0 ? "TimeoutStopSec=infinity\n" : fmt::format("TimeoutStopSec={:g}\n", timeout);
        return lines;
    }

    static constexpr std::string_view onSuccess = "on-success";
    static constexpr std::string_view onFailure = "on-failure";

    const Dictionary& list_;
    const std::string& listPath_;
    const AgentGuard& guard_;
    bool startsAtLoad_ = false;
    /// Where it is gone, as after a removal, the unit is not started over and over.
    std::optional<std::string> program_;
    std::optional<std::string> error_;
};

}  // namespace

std::expected<AgentUnit, std::string> AgentUnit::translate(BytesView list, const std::string& listPath,
                                                           const AgentGuard& guard) {
    const auto dictionary = PropertyList::dictionary(list);
    if (!dictionary) return std::unexpected(fmt::format("{}: it is no property list", listPath));
    auto unit = Translation{*dictionary, listPath, guard}.unit();
    if (!unit) return std::unexpected(fmt::format("{}: {}", listPath, unit.error()));
    return unit;
}

std::optional<std::string> AgentUnit::source(std::string_view text) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        if (line.starts_with(sourceKey)) return UnitText::unescapedPath(line.substr(sourceKey.size()));
    }
    return std::nullopt;
}

}  // namespace larkmoor
