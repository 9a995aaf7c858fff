#include "LarkmoorLocalModels/Runtime/HostAgent.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/FileTemporaries.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/Supervision/LoginItems.h"
#include "LarkmoorLocalModels/Runtime/HostPlist.h"
#include "LarkmoorLocalModels/Store/ModelStore.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace {

// As of any other agent of the user's.
constexpr mode_t folderMode = 0755, plistMode = 0644;
constexpr int goneRounds = 50, bootstrapAttempts = 3;
constexpr std::chrono::milliseconds pace{500};

std::unexpected<SetupError> failed(std::string message) { return std::unexpected{SetupError{std::move(message)}}; }

HostAgent::Ended ended(const LaunchAgents::ExitStatus& loaded) {
    if (loaded == 0) return {};
    return failed(loaded ? fmt::format("launchd refused the model-host agent (exit {})", *loaded)
                         : fmt::format("launchd refused the model-host agent ({})", loaded.error()));
}

}  // namespace

std::string HostAgent::plistPath() const {
    return fmt::format("{}/Library/LaunchAgents/{}.plist", seams_.home, ClientInstance::ollamaAgentLabel);
}

std::string HostAgent::logPath() const {
    return fmt::format("{}/Library/Logs/{}", seams_.home, ClientInstance::ollamaLogName);
}

std::string HostAgent::domain() const { return LoginItems::guiDomainTarget(seams_.user); }

std::string HostAgent::service() const {
    return LoginItems::guiServiceTarget(seams_.user, ClientInstance::ollamaAgentLabel);
}

Task<std::optional<std::string>> HostAgent::plistText() const {
    co_return co_await BlockingWork::run([path = plistPath()]() -> std::optional<std::string> {
        const auto bytes = Files::read(path);
        return bytes ? std::optional{std::string{asText(*bytes)}} : std::nullopt;
    });
}

Task<HostAgent::Ended> HostAgent::superviseHost(std::string binary, std::stop_token stop) {
    const auto current = co_await plistText();
    auto written = co_await writePlist(std::move(binary), HostPlist::modelsDirForWrite(current, seams_.support));
    if (!written) co_return written;
    const auto loaded = co_await load(stop);
    if (loaded != 0 && !current) {
        co_await BlockingWork::run([path = plistPath()] { ::unlink(path.c_str()); });
        // One that the user disabled says just that.
        if (loaded != LaunchAgents::isDisabled) {
            co_await seams_.removeUnit(std::string{ClientInstance::ollamaAgentLabel});
        }
    }
    co_return ended(loaded);
}

Task<HostAgent::Ended> HostAgent::writePlist(std::string binary, std::optional<std::string> modelsDir) {
    if (modelsDir) {
        auto made = co_await BlockingWork::run([folder = *modelsDir] { return ModelStore::makeModelsDir(folder); });
        if (!made) co_return failed(made.error().message);
    }
    co_return co_await replacePlist(HostPlist::agentPlist(binary, logPath(), modelsDir));
}

Task<HostAgent::Ended> HostAgent::replacePlist(std::string text) {
    const auto written = co_await BlockingWork::run([path = plistPath(), log = logPath(), text = std::move(text)] {
        for (const std::string& file : {path, log}) {
            auto made = Files::makeFolders(std::filesystem::path{file}.parent_path().string(), folderMode);
            if (!made) return made;
        }
        FileTemporaries::sweep(path);
        return Files::replace(path, asBytes(text), plistMode);
    });
    if (!written) co_return failed(written.error().description());
    co_return Ended{};
}

Task<HostAgent::Ended> HostAgent::loadAgent(std::stop_token stop) { co_return ended(co_await load(std::move(stop))); }

Task<LaunchAgents::ExitStatus> HostAgent::load(std::stop_token stop) {
    auto loaded = co_await seams_.launchctl.bootout(service());
    if (loaded == LaunchAgents::isDisabled) co_return loaded;
    for (int round = 0; round < goneRounds; ++round) {
        const auto printed = co_await seams_.launchctl.print(service());
        if (printed != 0) break;
        co_await seams_.pacedPause(pace);
    }
    const int attempts = stop.stop_requested() ? 1 : bootstrapAttempts;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (attempt > 0) co_await seams_.pacedPause(pace);
        loaded = co_await seams_.launchctl.bootstrap(domain(), plistPath());
        if (loaded == 0) break;
    }
    co_return loaded;
}

Task<void> HostAgent::capHostIfUncapped() {
    const auto current = co_await plistText();
    if (!HostPlist::hostPlistLacksCap(current)) co_return;
    const auto binary = HostPlist::supervisedBinary(current);
    if (!binary) {
        co_return seams_.log("model-setup: host cap not applied — the agent plist names no ProgramArguments");
    }
    const auto modelsDir = HostPlist::modelsDirForWrite(current, seams_.support);
    auto capped = co_await replacePlist(HostPlist::agentPlist(*binary, logPath(), modelsDir));
    if (capped) capped = co_await loadAgent({});
    if (capped) co_return seams_.log("model-setup: host plist capped — prompt cache 256 MiB, host restarted");
    static_cast<void>(co_await replacePlist(*current));
    seams_.log("model-setup: host cap not applied — " + capped.error().message);
}

Task<void> HostAgent::reloadIfStale() {
    if (co_await seams_.launchctl.isCurrent(plistPath())) co_return;
    const auto loaded = co_await loadAgent({});
    seams_.log(loaded ? "model-setup: the host ran by an older plist — restarted"
                      : "model-setup: the host runs by an older plist — " + loaded.error().message);
}

}  // namespace larkmoor
