#include "LarkmoorLocalModels/Pipeline/UndoPlan.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorBase/Files.h"
#include "LarkmoorLocalModels/Pipeline/Inventory.h"
#include "LarkmoorLocalModels/Pull/ModelPull.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor::UndoPlan {

namespace {

using Step = LocalModelsUndo::Step;

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

/// Whether the store, if it was made by us, may be taken away whole.
bool holdsOursAlone(const std::string& store) {
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

/// A runtime of an older build has the models in its folder: these stay, whoever put them there.
void spareModels(std::vector<Step>& steps) {
    std::vector<Step> spared;
    for (Step& step : steps) {
        const auto* folder = step.as<Step::RemoveDirectory>();
        const std::string store =
            folder != nullptr ? fmt::format("{}/{}", folder->path, ModelsFolder::modelsRootName) : "";
        if (store.empty() || Inventory::take(store).models.empty()) {
            spared.push_back(std::move(step));
            continue;
        }
        for (const std::string& name : Files::names(folder->path).value_or(std::vector<std::string>{})) {
            if (name != ModelsFolder::modelsRootName) {
                spared.emplace_back(Step::RemoveDirectory{fmt::format("{}/{}", folder->path, name)});
            }
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
    // A pull that failed made no model: one of that name is the user's from now on. One that is done left no part.
    if (modelState(progress) == LocalModelsProgress::Row::skipped) claims.pulledModel.reset();
    if (modelState(progress) == LocalModelsProgress::Row::done) claims.pullBeganAt.reset();
    // Before its first byte came, or its end, it may turn out to have been there.
    const auto speech = row(progress, "asr");
    const bool hasLoaded = speech.state == LocalModelsProgress::Row::done || speech.bytes.value_or(0) > 0;
    if (hasLoaded && progress.installed.asrCacheDir) claims.asrCacheDir = progress.installed.asrCacheDir;
    return claims;
}

std::vector<Step> of(const LocalModelsProgress& progress) {
    Receipts installed = progress.installed;
    Receipts claimed = progress.claimed ? standing(*progress.claimed, installed) : Receipts{};
    for (Receipts* each : {&installed, &claimed}) {
        if (modelState(progress) == LocalModelsProgress::Row::done) each->pullBeganAt.reset();
        if (each->ollama && !holdsOursAlone(each->ollama->folder)) each->ollama->folderExisted = true;
    }
    std::vector<Step> steps = LocalModelsUndo::planNow(installed);
    for (Step& step : LocalModelsUndo::planNow(claimed)) add(std::move(step), steps);
    // A pull that was killed may have left the model under the mirror's name.
    const auto& first = claimed.ollama ? claimed.ollama : installed.ollama;
    const std::string mirror{ModelPull::mirrorModel};
    const bool hasPulled =
        std::ranges::find(steps, Step{Step::DeleteModel{std::string{LocalModel::titleModel}}}) != steps.end();
    if (hasPulled && first && !holds(first->models, mirror) && holds(Inventory::take(first->folder).models, mirror)) {
        add(Step::DeleteModel{mirror}, steps);
    }
    spareModels(steps);
    return steps;
}

bool asksOurHost(const LocalModelsProgress& progress) {
    return progress.installed.ollama && isOurs(progress.installed.ollama->folder);
}

}  // namespace larkmoor::UndoPlan
