#include "LarkmoorLocalModels/Pipeline/LiveWorkers.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorLocalModels/Pipeline/Inventory.h"
#include "LarkmoorLocalModels/Pipeline/UndoPlan.h"
#include "LarkmoorLocalModels/Prefetch/ModelPrefetch.h"
#include "LarkmoorLocalModels/Pull/ModelPull.h"
#include "LarkmoorLocalModels/Runtime/HostPlist.h"
#include "LarkmoorLocalModels/Runtime/ManagedRuntime.h"
#include "LarkmoorLocalModels/Runtime/ModelHost.h"
#include "LarkmoorLocalModels/Runtime/RuntimeProof.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor {

namespace {

using Stop = std::stop_token;
using Receipts = LocalModelsProgress::Receipts;

constexpr int hostPatience = 20;  // seconds
constexpr std::chrono::seconds answerPatience{2};

/// The store that a host which we start, or find, takes by its environment.
std::optional<std::string> hostModelsFromEnvironment() {
    const char* folder = std::getenv("OLLAMA_MODELS");
    return folder != nullptr && *folder != '\0' ? std::optional<std::string>{folder} : std::nullopt;
}

/// The store of a host that is not told where its models are.
std::string defaultStore(const LiveWorkers& live) {
    return hostModelsFromEnvironment().value_or(live.home + "/.ollama/models");
}

/// The store that the setup is about to use. A host that runs in no process of ours is the user's, and so is its store,
/// of which it tells more than a folder that we suppose.
Task<LocalModelsProgress::OllamaInventory> takeInventory(LiveWorkers live) {
    const auto plist = co_await live.host.plistText();
    std::optional<std::vector<std::string>> theirs;
    if (!co_await live.host.agentPid()) theirs = co_await hostTags({&live.http, live.endpoint});
    const bool isDefault = theirs || HostPlist::hostPlistLacksModelsDir(plist);
    auto inventory = co_await BlockingWork::run(
        [folder = isDefault ? defaultStore(live) : HostPlist::ollamaStore(plist, live.support, live.home)] {
            return Inventory::take(folder);
        });
    if (theirs) Inventory::add(*std::move(theirs), inventory);
    co_return inventory;
}

Task<std::optional<LocalModelsProgress>> readProgress(std::string support) {
    co_return co_await BlockingWork::run(
        [path = LocalModelsProgress::path(support)] { return LocalModelsProgress::read(path); });
}

Task<std::optional<Receipts>> readReceipts(std::string support) {
    const auto progress = co_await readProgress(std::move(support));
    co_return progress ? std::optional{progress->installed} : std::nullopt;
}

Task<Receipts> readClaims(std::string support) {
    const auto progress = co_await readProgress(std::move(support));
    co_return progress ? UndoPlan::claims(*progress) : Receipts{};
}

Task<bool> isFilled(std::string path) {
    co_return co_await BlockingWork::run([path = std::move(path)] {
        const auto names = Files::names(path);
        return names ? !names->empty() : Files::exists(path);
    });
}

std::string parentFolder(const std::string& path) { return std::filesystem::path{path}.parent_path().string(); }

/// The folder whose "models" is the store that the host uses now.
Task<std::string> hostFolder(LiveWorkers live) {
    const auto plist = co_await live.host.plistText();
    const auto store = hostModelsFromEnvironment();
    co_return parentFolder(store ? *store : HostPlist::ollamaStore(plist, live.support, live.home));
}

/// Keeps the executable that the host runs.
Task<std::expected<void, SetupError>> repoint(LiveWorkers live, RuntimeSetup runtime,
                                              std::optional<std::string> modelsDir) {
    auto binary = HostPlist::supervisedBinary(co_await live.host.plistText());
    if (!binary) binary = co_await findTrustedRuntime(runtime);
    co_return co_await live.host.writePlist(binary.value_or(runtime.places.managed()), std::move(modelsDir));
}

Task<ModelMigration::Outcome> migrateModel(LiveWorkers live, RuntimeSetup runtime, std::optional<Receipts> receipts,
                                           bool wasCutShort, std::function<Task<bool>(std::string)> pull, Stop stop) {
    const ModelHost asked{&live.http, live.endpoint, stop};
    ModelMigration migration{{
        .plistText = [&live] { return live.host.plistText(); },
        .ourModelsDir = [&live] { return ModelsFolder::namingStore(live.support); },
        .defaultFolder = [&live] { return parentFolder(defaultStore(live)); },
        .hostFolder = [&live] { return hostFolder(live); },
        .receipts = [&receipts] { return receipts; },
        .wasCutShort = wasCutShort,
        .tags = [&asked] { return hostTags(asked); },
        .pull = std::move(pull),
        .ping = [&asked](std::string name) { return pingModel(asked, std::move(name)); },
        .readPid = [&live] { return live.host.agentPid(); },
        .writePlist =
            [&live, &runtime](std::optional<std::string> folder) { return repoint(live, runtime, std::move(folder)); },
        .reload = [&live] { return live.host.loadAgent({}); },
        .pause = [&live](std::chrono::milliseconds time) { return live.host.pacedPause(time); },
        .log = live.log,
        .stop = stop,
    }};
    co_return co_await migration.run();
}

/// A list with our label that is not of our writing names another executable, and nothing runs by it.
Task<bool> ownsHost(LiveWorkers live) {
    const auto binary = HostPlist::supervisedBinary(co_await live.host.plistText());
    if (!binary) co_return false;
    const auto ours = RuntimePlaces::of(live.support).ourBinaries;
    co_return std::ranges::find(ours, *binary) != ours.end() || co_await live.host.agentPid();
}

/// A host of the user's that is too busy to answer has the port: one of ours beside it could not come up.
Task<std::expected<void, SetupError>> superviseHost(LiveWorkers live, std::string binary, Stop stop) {
    const auto answer = co_await live.http.send({.url = live.endpoint + "/api/tags", .timeout = answerPatience}, stop);
    const bool isTaken = answer || answer.error().reason == "timed out";
    if (isTaken && !co_await live.host.agentPid()) {
        co_return std::unexpected{SetupError{"another program has the model host's port"}};
    }
    co_return co_await live.host.superviseHost(std::move(binary), std::move(stop));
}

Task<ModelLayoutMigration::Outcome> moveFolders(LiveWorkers live, std::optional<Receipts> receipts,
                                                std::function<Task<void>(Receipts)> settle, Stop stop) {
    const ModelHost asked{&live.http, live.endpoint, stop};
    ModelLayoutMigration migration{{
        .support = live.support,
        .folders = ModelLayoutMigration::FolderSeams::live(live.support),
        .verifyBinary =
            [](std::string binary) {
                return BlockingWork::run([binary = std::move(binary)] { return binaryVerifies(binary); });
            },
        .plistText = [&live] { return live.host.plistText(); },
        .writePlist =
            [&live](std::string binary, std::optional<std::string> folder) {
                return live.host.writePlist(std::move(binary), std::move(folder));
            },
        .receipts = [&receipts] { return receipts; },
        .writeReceipts = std::move(settle),
        .tags = [&asked] { return hostTags(asked); },
        .ping = [&asked](std::string name) { return pingModel(asked, std::move(name)); },
        .readPid = [&live] { return live.host.agentPid(); },
        .reload = [&live] { return live.host.loadAgent({}); },
        .pause = [&live](std::chrono::milliseconds time) { return live.host.pacedPause(time); },
        .log = live.log,
        .stop = stop,
    }};
    co_return co_await migration.run();
}

}  // namespace

LocalModelSetup::Seams LiveWorkers::seams() const {
    const auto ours = RuntimePlaces::of(support).ourBinaries;
    return {.loop = loop,
            .workers = workers(),
            .prefetch = ModelPrefetch::live(runner, bundle, home, support),
            .support = support,
            .agentPlist = host.plistPath(),
            .ourBinaries = {ours.begin(), ours.end()},
            .now = [] { return std::chrono::system_clock::now(); },
            .log = log};
}

LocalModelSetup::TrioWorkers LiveWorkers::workers() const {
    const auto runtime = [live = *this](Stop stop) {
        return RuntimeSetup{.runner = &live.runner,
                            .fetch = &live.fetch,
                            .places = RuntimePlaces::of(live.support),
                            .release = live.release,
                            .log = live.log,
                            .stop = std::move(stop)};
    };
    const auto asked = [live = *this](Stop stop) { return ModelHost{&live.http, live.endpoint, std::move(stop)}; };
    return {
        .migrate =
            [live = *this, runtime](std::optional<Receipts> receipts, bool wasCutShort,
                                    std::function<Task<bool>(std::string)> pull, Stop stop) {
                return migrateModel(live, runtime({}), std::move(receipts), wasCutShort, std::move(pull),
                                    std::move(stop));
            },
        .migrateLayout =
            [live = *this](std::optional<Receipts> receipts, std::function<Task<void>(Receipts)> settle, Stop stop) {
                return moveFolders(live, std::move(receipts), std::move(settle), std::move(stop));
            },
        .findRuntime = [runtime] { return findTrustedRuntime(runtime({})); },
        .fetchRuntime =
            [runtime](TransferListener progress, Stop stop) {
                return larkmoor::fetchRuntime(runtime(std::move(stop)), std::move(progress));
            },
        .hostAnswers = [asked](Stop stop) { return larkmoor::hostAnswers(asked(std::move(stop))); },
        .ownsHost = [live = *this] { return larkmoor::ownsHost(live); },
        .superviseHost = [live = *this](
                             std::string binary,
                             Stop stop) { return larkmoor::superviseHost(live, std::move(binary), std::move(stop)); },
        .waitForHost = [asked](Stop stop) { return larkmoor::waitForHost(asked(std::move(stop)), hostPatience); },
        .probeModel = [live =
                           *this](Stop stop) { return LocalModel::ready(live.http, live.endpoint, std::move(stop)); },
        .pullModel = [asked, log = log](
                         TransferListener progress,
                         Stop stop) { return larkmoor::pullModel(asked(std::move(stop)), std::move(progress), log); },
        .inventory = [live = *this] { return takeInventory(live); },
        .snapshotReceipts = [support = support] { return readReceipts(support); },
        .claims = [support = support] { return readClaims(support); },
        .isFilled = isFilled,
    };
}

}  // namespace larkmoor
