#include "LarkmoorLocalModels/Pipeline/UndoPlan.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "LarkmoorBase/Files.h"
#include "LarkmoorLocalModels/Pipeline/Inventory.h"
#include "LarkmoorLocalModels/Pull/ModelPull.h"
#include "LarkmoorLocalModels/Runtime/RuntimeProof.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor::UndoPlan {

namespace {

using Step = LocalModelsUndo::Step;

constexpr std::string_view runtimeName = "ollama";

/// When a step has its turn: the host must live to delete a model, and be gone before its folders go.
int turn(const Step& step) {
    return step.visit([](const Step::DeleteModel&) { return 0; }, [](const Step::BootoutAgent&) { return 1; },
                      [](const Step::RemoveFile&) { return 2; }, [](const Step::RemoveDirectory&) { return 3; },
                      [](const Step::RemoveModelFolder&) { return 4; });
}

void add(Step step, std::vector<Step>& steps) {
    if (std::ranges::find(steps, step) != steps.end()) return;
    const auto behind = std::ranges::upper_bound(steps, turn(step), {}, turn);
    steps.insert(behind, std::move(step));
}

bool holds(const std::vector<std::string>& models, std::string_view name) {
    return std::ranges::find(models, name) != models.end();
}

bool isOurs(const std::string& store) { return store.ends_with(ModelsFolder::namingStore("")); }

/// Whether the store, if it was made by us, may be taken away whole. We make no links.
bool holdsOursAlone(const std::string& store) {
    std::error_code failed;
    if (std::filesystem::is_symlink(store, failed)) return false;
    return std::ranges::all_of(Inventory::take(store).models, [](const std::string& model) {
        return model == LocalModel::titleModel || model == ModelPull::mirrorModel;
    });
}

/// The claims that still have something to be taken away. A list may be gone and its job loaded all the same.
Receipts standing(Receipts claims, const Receipts& installed) {
    for (auto* folder : {&claims.runtimeDir, &claims.asrCacheDir, &claims.senkoDir}) {
        if (*folder && !Files::exists(**folder)) folder->reset();
    }
    if (!claims.ollama) return claims;
    // The host asked now has another store than the one into which we pulled. What is in ours came there by us, also
    // from a store that has moved.
    const bool isElsewhere = installed.ollama && claims.ollama->folder != installed.ollama->folder;
    if (isElsewhere && !isOurs(installed.ollama->folder)) claims.pulledModel.reset();
    // One of an earlier pass has become the user's, unless it is in our own folder.
    if (!isOurs(claims.ollama->folder) || !Files::exists(claims.ollama->folder)) claims.ollama->folderExisted = true;
    return claims;
}

/// Whether the model that we pulled into another store may be in ours by now, or a part of it: a migration that is
/// killed or put back leaves it there.
bool hasMovedIntoOurs(const Receipts& receipts, const std::string& ours) {
    return receipts.ollama && receipts.ollama->folder != ours &&
           LocalModelsUndo::weInstalled(LocalModel::titleModel, receipts) && Files::exists(ours) &&
           holdsOursAlone(ours);
}

LocalModelsProgress::Row row(const LocalModelsProgress& progress, std::string_view id) {
    const auto found = std::ranges::find(progress.rows, id, &LocalModelsProgress::Row::id);
    return found != progress.rows.end() ? *found : LocalModelsProgress::Row{};
}

std::string_view modelState(const LocalModelsProgress& progress) {
    for (const std::string_view state : {LocalModelsProgress::Row::done, LocalModelsProgress::Row::skipped}) {
        if (row(progress, "model").state == state) return state;
    }
    return {};
}

/// What of a folder goes, if not all of it does. A runtime of an older build has the models in its folder: these stay,
/// whoever put them there. Behind a link of the user's only what we brought is ours, the proof that tells it last.
std::optional<std::vector<std::string>> entriesToRemove(const std::string& folder) {
    std::vector<std::string> entries;
    const std::string binary = fmt::format("{}/{}", folder, runtimeName), proof = RuntimeProof::path(binary);
    std::error_code failed;
    if (std::filesystem::is_symlink(folder, failed)) {
        const auto brought = RuntimeProof::entries(binary);
        if (!brought) return entries;
        entries = *brought;
    }
    if (!entries.empty()) {
        if (std::ranges::find(entries, runtimeName) == entries.end()) entries.emplace_back(runtimeName);
        entries.push_back(std::filesystem::path{proof}.filename().string());
        return entries;
    }
    if (Inventory::take(fmt::format("{}/{}", folder, ModelsFolder::modelsRootName)).models.empty()) return std::nullopt;
    entries = Files::names(folder).value_or(std::vector<std::string>{});
    std::erase(entries, ModelsFolder::modelsRootName);
    return entries;
}

void spareTheUsers(std::vector<Step>& steps) {
    std::vector<Step> spared;
    for (Step& step : steps) {
        const auto* folder = step.as<Step::RemoveDirectory>();
        const auto entries = folder != nullptr ? entriesToRemove(folder->path) : std::nullopt;
        if (!entries) {
            spared.push_back(std::move(step));
            continue;
        }
        for (const std::string& name : *entries) {
            spared.emplace_back(Step::RemoveDirectory{fmt::format("{}/{}", folder->path, name)});
        }
    }
    steps = std::move(spared);
}

}  // namespace

Receipts merged(Receipts claimed, const Receipts& installed) {
    const auto take = [](auto& field, const auto& other) {
        if (!field) field = other;
    };
    if (installed.pulledModel && claimed.pulledModel != installed.pulledModel) {
        claimed.pulledModel = installed.pulledModel;
        claimed.pullBeganAt = installed.pullBeganAt;
        const bool isSame = claimed.ollama && installed.ollama && claimed.ollama->folder == installed.ollama->folder;
        if (!isSame) claimed.ollama = installed.ollama;
    }
    // What was there before a pull is not known from an inventory behind it.
    if (!claimed.pulledModel) take(claimed.ollama, installed.ollama);
    take(claimed.runtimeDir, installed.runtimeDir);
    take(claimed.agentPlist, installed.agentPlist);
    take(claimed.senkoDir, installed.senkoDir);
    return claimed;
}

Receipts claims(const LocalModelsProgress& progress) {
    auto claims = merged(progress.claimed.value_or(Receipts{}), progress.installed);
    // Of a row that is skipped the receipt may be that of a pull that failed; a claim is given up with such a one, and
    // stays where nothing was pulled. A pull that is done left no part.
    if (modelState(progress) == LocalModelsProgress::Row::skipped) {
        claims.pulledModel = progress.claimed ? progress.claimed->pulledModel : std::nullopt;
    }
    if (modelState(progress) == LocalModelsProgress::Row::done) claims.pullBeganAt.reset();
    // Before its first byte came, or its end, it may turn out to have been there.
    const auto speech = row(progress, "asr");
    const bool hasLoaded = speech.state == LocalModelsProgress::Row::done || speech.bytes.value_or(0) > 0;
    if (hasLoaded && progress.installed.asrCacheDir) claims.asrCacheDir = progress.installed.asrCacheDir;
    return claims;
}

std::vector<Step> of(const LocalModelsProgress& progress, const std::string& support) {
    Receipts installed = progress.installed;
    Receipts claimed = progress.claimed ? standing(*progress.claimed, installed) : Receipts{};
    for (Receipts* each : {&installed, &claimed}) {
        if (modelState(progress) == LocalModelsProgress::Row::done) each->pullBeganAt.reset();
        if (each->ollama && !holdsOursAlone(each->ollama->folder)) each->ollama->folderExisted = true;
    }
    std::vector<Step> steps = LocalModelsUndo::planNow(installed);
    for (Step& step : LocalModelsUndo::planNow(claimed)) add(std::move(step), steps);
    const std::string ours = ModelsFolder::namingStore(support);
    if (hasMovedIntoOurs(installed, ours) || hasMovedIntoOurs(claimed, ours)) add(Step::RemoveModelFolder{ours}, steps);
    // A pull that was killed may have left the model under the mirror's name.
    const auto& first = claimed.ollama ? claimed.ollama : installed.ollama;
    const std::string mirror{ModelPull::mirrorModel};
    const bool hasPulled =
        std::ranges::find(steps, Step{Step::DeleteModel{std::string{LocalModel::titleModel}}}) != steps.end();
    if (hasPulled && first && !holds(first->models, mirror) && holds(Inventory::take(first->folder).models, mirror)) {
        add(Step::DeleteModel{mirror}, steps);
    }
    spareTheUsers(steps);
    return steps;
}

bool asksOurHost(const LocalModelsProgress& progress) {
    return progress.installed.ollama && isOurs(progress.installed.ollama->folder);
}

}  // namespace larkmoor::UndoPlan
