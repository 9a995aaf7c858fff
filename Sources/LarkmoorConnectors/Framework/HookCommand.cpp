#include "LarkmoorConnectors/Framework/HookCommand.h"

#include <algorithm>

#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"

namespace larkmoor {

bool HookSite::runs(std::string_view program) const { return HookCommand::program(command) == program; }

namespace HookCommand {

namespace {

constexpr std::string_view legacyScripts[] = {"larkmoor-hook.py", "rules-hook.py", "prime-hook.py"};

bool runsHookOfBundle(std::string_view command, std::string_view harness) {
    const auto path = BundleCommand::hookExecutable(command, harness);
    return path && BundleCommand::names(*path, "larkmoor-hook");
}

}  // namespace

std::optional<HookOwnership> tier(std::string_view of, std::span<const std::string> currents) {
    // Nearly every command of a file is somebody else's, and is passed over soon. All spellings have the same length.
    for (const std::string& current : currents) {
        if (current.size() != of.size()) continue;
        const auto known = spellings(current);
        if (std::ranges::find(known, of) != known.end()) return HookOwnership::current;
    }
    if (const auto script = legacyScriptPath(of)) {
        const std::string_view name = ConfigPath::lastComponent(*script);
        if (std::ranges::find(legacyScripts, name) != std::end(legacyScripts)) return HookOwnership::stale;
    }
    if (!of.contains("/larkmoor-hook")) return std::nullopt;
    for (const std::string& current : currents) {
        const auto harness = BundleCommand::harness(current);
        if (!harness) continue;
        if (runsHookOfBundle(of, *harness)) return HookOwnership::stale;
        break;
    }
    return std::nullopt;
}

std::vector<std::string> spellings(const std::string& of) {
    std::vector<std::string> list{of};
    for (const std::string_view flag : {"--harness ", "--slot "}) {
        for (std::size_t index = 0, before = list.size(); index < before; ++index) {
            const std::size_t at = list[index].find(flag);
            if (at == std::string::npos) continue;
            std::string other = list[index];
            other[at + flag.size() - 1] = '=';
            list.push_back(std::move(other));
        }
    }
    return list;
}

std::optional<std::string_view> legacyScriptPath(std::string_view command) {
    constexpr std::string_view interpreter = "python3 ";
    if (!command.starts_with(interpreter)) return std::nullopt;
    const std::string_view path = command.substr(interpreter.size());
    if (!path.starts_with('/') || path.contains(' ')) return std::nullopt;
    if (!ConfigPath::folder(path).ends_with("/fenwright/larkmoor/Scripts")) return std::nullopt;
    return path;
}

bool isLegacyBundle(std::string_view command, std::string_view current) {
    const auto harness = BundleCommand::harness(current);
    return harness && runsHookOfBundle(command, *harness);
}

std::string_view program(std::string_view command) { return command.substr(0, command.find(' ')); }

bool isPreTool(std::string_view command) {
    return command.ends_with(" --slot pretool") || command.ends_with(" --slot=pretool");
}

}  // namespace HookCommand

}  // namespace larkmoor
