#include "LarkmoorLocalModels/Pipeline/LocalModelSetup.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "LarkmoorLocalModels/Pipeline/UndoPlan.h"
#include "LarkmoorPlatform/Spawn.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor {

namespace {

constexpr std::string_view runtimeRow = "runtime", hostRow = "host", modelRow = "model", asrRow = "asr", vadRow = "vad";
constexpr std::string_view wasCancelled = "the install was cancelled";

std::string parentFolder(const std::string& path) { return std::filesystem::path{path}.parent_path().string(); }

}  // namespace

LocalModelSetup::LocalModelSetup(Seams seams) : seams_(std::move(seams)), rows_(newRows()) {}

// A pass from outside

void LocalModelSetup::start(std::function<void()> whenEnded) {
    if (running_) return;
    whenEnded_ = std::move(whenEnded);
    stop_ = {};
    ended_ = std::make_shared<OneShotEvent>(seams_.loop);
    running_ = true;
    spawn(seams_.loop, weak_from_this(), &LocalModelSetup::run);
}

Task<void> LocalModelSetup::cancel() {
    const auto ended = ended_;
    if (!ended) co_return;
    seams_.log("model-setup: cancel requested — stopping the pass");
    stop_.request_stop();
    co_await ended->wait();
}

Task<void> LocalModelSetup::waitForEnd() {
    if (const auto ended = ended_) co_await ended->wait();
}

/// However the pass ends, those who wait for its end go on.
Task<void> LocalModelSetup::run() {
    co_await Spawning::toItsEnd([this] { return pass(); });
    running_ = migrating_ = false;
    co_await Spawning::toItsEnd([this]() -> Task<void> {
        publish(true);
        co_await settle();
    });
    ended_->set();
    if (whenEnded_) whenEnded_();
}

// The pass

Task<void> LocalModelSetup::pass() {
    installed_ = {};
    snapshotReceipts_.reset();
    runtime_.reset();
    knowsReceipts_ = false;
    try {
        co_await readReceipts();
    } catch (const std::exception& thrown) {
        co_return seams_.log(fmt::format(
            "model-setup: what the last pass made could not be read ({}) — retrying at the next open", thrown.what()));
    }
    for (const Row& row : newRows()) set(row.id, RowState::Pending{});
    co_await attempt("layout", layoutFirstRound());
    co_await attempt("inventory", takeInventory());
    co_await attempt(runtimeRow, runtimeStep());
    co_await attempt(hostRow, hostStep());
    co_await attempt("migration", migrationStep());
    co_await attempt("layout", layoutSecondRound());
    co_await attempt(modelRow, modelStep());
    seams_.log(isTrioDone() ? "model-setup: trio done" : "model-setup: trio worked with quiet skips");
    co_await attempt(asrRow, meetingModelsStep());
    std::string states;
    for (const Row& row : rows_)
        states += fmt::format("{}{}={}", states.empty() ? "" : " ", row.id, row.state.logged());
    seams_.log(fmt::format("model-setup: pass finished — {} (all five: {})", states, finished()));
}

/// A step that throws, as where the system has no thread for it, is one that could not finish.
Task<void> LocalModelSetup::attempt(std::string_view step, Task<void> work) {
    std::string why;
    try {
        co_return co_await std::move(work);
    } catch (const std::exception& thrown) {
        why = thrown.what();
    }
    quietSkip(step, why);
}

Task<void> LocalModelSetup::readReceipts() {
    snapshotReceipts_ = co_await seams_.workers.snapshotReceipts();
    if (snapshotReceipts_) installed_.oldModelWasOurs = ModelMigration::mayDeleteOldModel(snapshotReceipts_);
    claimed_ = co_await seams_.workers.claims();
    // Receipts that a killed pass had not taken over yet stand among its claims alone.
    if (snapshotReceipts_ && !snapshotReceipts_->senkoDir) snapshotReceipts_->senkoDir = claimed_.senkoDir;
    if (snapshotReceipts_ && !snapshotReceipts_->asrCacheDir &&
        claimed_.asrCacheDir != ModelsFolder::speech(seams_.support)) {
        snapshotReceipts_->asrCacheDir = claimed_.asrCacheDir;
    }
    knowsReceipts_ = true;
}

/// Before a place is filled for the first time: a process that is killed amid that must not forget that it is ours.
Task<void> LocalModelSetup::claim(std::optional<std::string> Receipts::* place, std::string path) {
    if (claimed_.*place || co_await seams_.workers.isFilled(path)) co_return;
    claimed_.*place = std::move(path);
    publish(true);
    co_await settle();
}

Task<void> LocalModelSetup::layoutFirstRound() {
    layoutHeld_ = layoutRolledBack_ = false;
    if (isCancelled()) co_return;
    layoutHeld_ = true;
    const auto outcome = co_await migrateLayout();
    layoutHeld_ = outcome.is<ModelLayoutMigration::Outcome::MoveFailed>();
    layoutRolledBack_ = outcome.is<ModelLayoutMigration::Outcome::RolledBack>();
    if (outcome.movedAnything()) publish(true);
}

Task<void> LocalModelSetup::takeInventory() {
    auto inventory = co_await seams_.workers.inventory();
    if (installed_.ollama && installed_.ollama->folder == inventory.folder) co_return;
    seams_.log(fmt::format("model-setup: inventory — folder {}, {} model(s): {}",
                           inventory.folderExisted ? "existed" : "absent", inventory.models.size(),
                           fmt::join(inventory.models, ", ")));
    installed_.ollama = std::move(inventory);
}

Task<void> LocalModelSetup::runtimeStep() {
    const auto found = co_await seams_.workers.findRuntime();
    if (found) {
        runtime_ = found;
        if (std::ranges::find(seams_.ourBinaries, *found) != seams_.ourBinaries.end()) {
            installed_.runtimeDir = parentFolder(*found);
            co_return set(runtimeRow, RowState::Done{"installed"});
        }
        markPresent(runtimeRow);
        co_return set(runtimeRow, RowState::Done{"already on this Mac"});
    }
    if (isCancelled()) co_return quietSkip(runtimeRow, wasCancelled);
    co_await claim(&Receipts::runtimeDir, parentFolder(ModelsFolder::namingBinary(seams_.support)));
    set(runtimeRow, RowState::Active{});
    const auto fetched = co_await seams_.workers.fetchRuntime(transfers(std::string{runtimeRow}), stop_.get_token());
    if (!fetched) co_return quietSkip(runtimeRow, fetched.error().message);
    runtime_ = *fetched;
    installed_.runtimeDir = parentFolder(ModelsFolder::namingBinary(seams_.support));
    set(runtimeRow, RowState::Done{"downloaded"});
}

Task<void> LocalModelSetup::hostStep() {
    if (isCancelled()) co_return quietSkip(hostRow, wasCancelled);
    // A progress file that was lost told of it.
    if (!claimed_.agentPlist && co_await seams_.workers.ownsHost()) claimed_.agentPlist = seams_.agentPlist;
    if (co_await seams_.workers.hostAnswers(stop_.get_token())) {
        // It may have come up since, with a store of its own.
        co_await takeInventory();
        co_return set(hostRow, RowState::Done{"already running"});
    }
    // A question that is cut short is answered with no.
    if (isCancelled()) co_return quietSkip(hostRow, wasCancelled);
    if (!runtime_) co_return quietSkip(hostRow, "no runtime landed this run — nothing to supervise");
    co_await claim(&Receipts::agentPlist, seams_.agentPlist);
    set(hostRow, RowState::Active{});
    const auto supervised = co_await seams_.workers.superviseHost(*runtime_, stop_.get_token());
    if (!supervised) {
        if (!co_await seams_.workers.isFilled(seams_.agentPlist)) claimed_.agentPlist.reset();
        co_return quietSkip(hostRow, supervised.error().message);
    }
    installed_.agentPlist = seams_.agentPlist;
    if (co_await seams_.workers.waitForHost(stop_.get_token())) co_return set(hostRow, RowState::Done{"running"});
    quietSkip(hostRow, "the model host did not come up — see the ollama log");
}

Task<void> LocalModelSetup::migrationStep() {
    if (layoutHeld_) {
        seams_.log(
            "model-setup: the layout migration could not move the folders — the naming model's migration waits for the "
            "next open rather than filling a store that may be inside the old Models folder");
        co_return;
    }
    if (isCancelled() || !isDone(hostRow)) co_return;
    migrating_ = true;
    publish(true);
    const bool wasCutShort = claimed_.oldModelWasOurs.value_or(false);
    ModelMigration::Outcome outcome = ModelMigration::Outcome::NotNeeded{};
    co_await Spawning::toItsEnd([&]() -> Task<void> {
        outcome = co_await seams_.workers.migrate(
            snapshotReceipts_, wasCutShort, [this](const std::string&) { return pullForMigration(); },
            stop_.get_token());
    });
    // The undo of a cancel asks the host that is being put back, and so do the steps behind this one.
    if (outcome.is<ModelMigration::Outcome::RolledBack>()) co_await seams_.workers.waitForHost({});
    migrating_ = false;
    // Of the old model nothing is left to do, unless an earlier migration's end could not be made good.
    if (!outcome.is<ModelMigration::Outcome::NotNeeded>()) claimed_.oldModelWasOurs.reset();
    if (outcome.is<ModelMigration::Outcome::Migrated>()) installed_.pulledModel = LocalModel::titleModel;
    publish(true);
}

Task<bool> LocalModelSetup::pullForMigration() {
    if (ModelMigration::mayDeleteOldModel(snapshotReceipts_)) claimed_.oldModelWasOurs = true;
    co_await beginPull();
    const auto pulled = co_await seams_.workers.pullModel(transfers(std::string{modelRow}), stop_.get_token());
    endPull(pulled.has_value());
    co_return pulled.has_value();
}

/// Before the first byte, so that a cancel amid the pull knows what to remove.
Task<void> LocalModelSetup::beginPull() {
    installed_.pulledModel = LocalModel::titleModel;
    installed_.pullBeganAt = secondsSince1970(seams_.now());
    claimed_ = UndoPlan::merged(std::move(claimed_), installed_);
    set(modelRow, RowState::Active{0.0});
    co_await settle();
}

/// A pull that failed made no model: one of that name is the user's from now on. What a cancel has stopped is undone.
void LocalModelSetup::endPull(bool isWhole) {
    if (!isWhole && !isCancelled()) claimed_.pulledModel.reset();
}

Task<ModelLayoutMigration::Outcome> LocalModelSetup::migrateLayout() {
    auto outcome = co_await seams_.workers.migrateLayout(
        snapshotReceipts_, [this](Receipts moved) { return settleReceipts(std::move(moved)); }, stop_.get_token());
    if (outcome.is<ModelLayoutMigration::Outcome::RolledBack>()) co_await seams_.workers.waitForHost({});
    co_return outcome;
}

Task<void> LocalModelSetup::settleReceipts(Receipts moved) {
    // What the last pass made is found by this one's steps, but for the folders that they do not look into.
    installed_.senkoDir = moved.senkoDir;
    installed_.asrCacheDir = moved.asrCacheDir;
    if (moved.senkoDir) claimed_.senkoDir = moved.senkoDir;
    const bool isWhole = claimed_.asrCacheDir == ModelsFolder::speech(seams_.support);
    if (moved.asrCacheDir && !isWhole) claimed_.asrCacheDir = moved.asrCacheDir;
    snapshotReceipts_ = std::move(moved);
    publish(true);
    co_await settle();
}

/// The runtime moves once the naming model lives in our store.
Task<void> LocalModelSetup::layoutSecondRound() {
    // A host that did not come back in its new place is not restarted a second time at one launch.
    if (isCancelled() || !isDone(hostRow) || layoutHeld_ || layoutRolledBack_) co_return;
    const auto outcome = co_await migrateLayout();
    // The runtime that this pass has found may have moved with the folders.
    if (outcome.is<ModelLayoutMigration::Outcome::Migrated>() && installed_.runtimeDir) {
        installed_.runtimeDir = ModelsFolder::namingRuntime(seams_.support);
    }
    if (outcome.movedAnything()) publish(true);
}

Task<void> LocalModelSetup::modelStep() {
    if (isCancelled()) co_return quietSkip(modelRow, wasCancelled);
    if (co_await seams_.workers.probeModel(stop_.get_token())) {
        markPresent(modelRow);
        co_return set(modelRow, RowState::Done{"already downloaded"});
    }
    if (isCancelled()) co_return quietSkip(modelRow, wasCancelled);
    if (!isDone(hostRow)) co_return quietSkip(modelRow, "no model host this run — nothing to pull from");
    co_await beginPull();
    const auto pulled = co_await seams_.workers.pullModel(transfers(std::string{modelRow}), stop_.get_token());
    endPull(pulled.has_value());
    if (!pulled) co_return quietSkip(modelRow, pulled.error().message);
    set(modelRow, RowState::Done{"downloaded"});
}

Task<void> LocalModelSetup::meetingModelsStep() {
    std::optional<std::string> helper;
    if (!isCancelled()) helper = co_await seams_.prefetch.prefetchHelper();
    if (isCancelled()) {
        quietSkip(asrRow, wasCancelled);
        quietSkip(vadRow, wasCancelled);
        co_return;
    }
    if (helper) {
        co_await claim(&Receipts::senkoDir, ModelPrefetch::senkoFolder(seams_.support));
        co_await claim(&Receipts::asrCacheDir, ModelsFolder::speech(seams_.support));
    }
    co_await runPrefetch(seams_.prefetch, prefetchRows(), std::move(helper), seams_.support, stop_.get_token());
}

PrefetchRows LocalModelSetup::prefetchRows() {
    return {.set = [this](std::string_view id, RowState state) { set(id, std::move(state)); },
            .quietSkip = [this](std::string_view id, std::string_view why) { quietSkip(id, why); },
            .markPresent = [this](std::string_view id) { markPresent(id); },
            .transfer = [this](std::string_view id, Transfer moved) { transfer(id, moved); },
            .setAsrCacheDir = [this](std::optional<std::string> folder) { installed_.asrCacheDir = std::move(folder); },
            .setSenkoDir = [this](std::string folder) { installed_.senkoDir = std::move(folder); },
            .log = seams_.log};
}

}  // namespace larkmoor
