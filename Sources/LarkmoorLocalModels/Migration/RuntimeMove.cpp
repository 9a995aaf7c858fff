// The naming runtime in the move of the models' folders, and its host.
#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorLocalModels/Migration/ModelLayoutMigration.h"
#include "LarkmoorLocalModels/Migration/NewHost.h"
#include "LarkmoorLocalModels/Migration/OldModelsLayout.h"
#include "LarkmoorLocalModels/Runtime/HostPlist.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor {

namespace {

using Done = ModelLayoutMigration::Done;

}  // namespace

// The old folder stands, empty in the end, until the host has come back: as long as
// it is there a run that was killed is taken up by the next.

Task<std::expected<ModelLayoutMigration::RollbackPlan, std::string>> ModelLayoutMigration::moveRuntime(
    std::optional<std::string> plist) {
    RollbackPlan plan = rollbackPlan(plist);
    // What is left of a removal that was killed.
    if (co_await exists(plan.spare)) co_await removeOurs(plan.spare);
    const std::string managed = ModelsFolder::namingBinary(seams_.support);
    const bool hasManaged = co_await exists(managed);
    // A host makes the folders of its store anew whenever it is asked for its models.
    const bool hasOldStore = !co_await removeIfHollow(plan.oldStore);
    const auto left = co_await children(plan.oldRuntimeDir);
    const bool wasMoved = hasManaged && !hasOldStore && std::ranges::all_of(left, [](const std::string& name) {
                              return name == OldModelsLayout::oldRuntimeStoreName;
                          });
    if (!wasMoved) {
        const bool isInPlace = hasManaged && co_await seams_.verifyBinary(managed);
        if (!isInPlace && plan.newBinary && !co_await exists(plan.oldRuntimeDir + "/ollama")) {
            if (!co_await staysInPlace(plan)) {
                co_return std::unexpected{"there is no runtime for the host, neither in ollama nor elsewhere"};
            }
            plan.newBinary = plan.binary;
        }
        if (const auto done = co_await moveStore(plan); !done) co_return std::unexpected{done.error()};
        const auto done = isInPlace ? co_await removeSecondRuntime(plan) : co_await moveOldRuntime(plan);
        if (!done) {
            co_await putStoreBack(plan);
            co_return std::unexpected{done.error()};
        }
    }
    moved_.emplace_back("naming");
    co_return plan;
}

/// Whether the host's executable is there, and in none of the folders that are moved or emptied.
Task<bool> ModelLayoutMigration::staysInPlace(const RollbackPlan& plan) {
    for (const std::string& folder : {plan.oldRuntimeDir, plan.runtime}) {
        if (plan.binary.starts_with(folder + "/")) co_return false;
    }
    co_return co_await exists(plan.binary);
}

ModelLayoutMigration::RollbackPlan ModelLayoutMigration::rollbackPlan(const std::optional<std::string>& plist) const {
    const std::string old = OldModelsLayout::runtime(seams_.support);
    return {.binary = HostPlist::supervisedBinary(plist).value_or(old + "/ollama"),
            .modelsDir = HostPlist::modelsDirForWrite(plist, seams_.support),
            .newBinary = plist ? std::optional{ModelsFolder::namingBinary(seams_.support)} : std::nullopt,
            .naming = ModelsFolder::naming(seams_.support),
            .runtime = ModelsFolder::namingRuntime(seams_.support),
            .store = ModelsFolder::namingStore(seams_.support),
            .spare = OldModelsLayout::spareRuntime(seams_.support),
            .oldRuntimeDir = old,
            .oldStore = fmt::format("{}/{}", old, OldModelsLayout::oldRuntimeStoreName)};
}

Task<Done> ModelLayoutMigration::moveStore(RollbackPlan& plan) {
    if (co_await removeIfHollow(plan.oldStore)) co_return Done{};
    if (!co_await removeIfHollow(plan.store)) {
        co_return std::unexpected{
            "a model store stands in both models/naming/store and ollama/models — neither is flattened onto the other "
            "and nothing is removed"};
    }
    auto done =
        saying(co_await move(plan.oldStore, plan.store), "the model store could not be renamed to models/naming/store");
    plan.storeWasThere = done.has_value();
    co_return done;
}

Task<void> ModelLayoutMigration::putStoreBack(RollbackPlan plan) {
    if (!plan.storeWasThere) co_return;
    co_await removeIfHollow(plan.oldStore);
    static_cast<void>(co_await move(plan.store, plan.oldStore));
}

Task<Done> ModelLayoutMigration::removeSecondRuntime(const RollbackPlan& plan) {
    seams_.log(
        "model-layout: a verified runtime is already in models/naming/runtime — the second copy at ollama is ours and "
        "is being removed");
    const bool isAway = (co_await exchangeWithNew(plan.oldRuntimeDir, plan.spare)).has_value();
    if (isAway && co_await removeOurs(plan.spare)) co_return Done{};
    if (isAway) co_await exchange(plan.spare, plan.oldRuntimeDir);
    co_await removeIfEmpty(plan.spare);
    co_return std::unexpected{"the old runtime folder could not be removed"};
}

Task<Done> ModelLayoutMigration::moveOldRuntime(RollbackPlan& plan) {
    if (co_await exists(plan.runtime)) {
        seams_.log("model-layout: models/naming/runtime holds no runtime that verifies — emptying it");
        if (!co_await removeOurs(plan.runtime)) {
            co_return std::unexpected{"models/naming/runtime could not be emptied"};
        }
    }
    auto done = saying(co_await exchangeWithNew(plan.oldRuntimeDir, plan.runtime),
                       "the naming runtime could not be moved into models/naming/runtime");
    plan.putTheRuntimeBack = done.has_value();
    co_return done;
}

/// Moves the folder, and leaves an empty one in its place, at one stroke.
Task<Done> ModelLayoutMigration::exchangeWithNew(std::string folder, std::string target) {
    auto made = co_await makeDirectory(target);
    if (!made) co_return made;
    co_return co_await exchange(folder, target);
}

// The host

/// Whether a host has come back on the new folders that names.
Task<bool> ModelLayoutMigration::repoint(RollbackPlan plan) {
    const auto process = co_await seams_.readPid();
    // A store that the user has put elsewhere stays there.
    const std::string store = Files::standardized(plan.modelsDir.value_or(""));
    const bool isElsewhere = !store.empty() && store != plan.oldStore && store != plan.store;
    auto reloaded = co_await seams_.writePlist(plan.newBinary.value_or(plan.binary), isElsewhere ? store : plan.store);
    if (reloaded) reloaded = co_await seams_.reload();
    if (!reloaded) {
        seams_.log(fmt::format("model-layout: the reload failed ({})", reloaded.error().message));
        co_return false;
    }
    const bool isBack = co_await NewHost::wait({.tags = seams_.tags,
                                                .readPid = seams_.readPid,
                                                .pause = seams_.pause,
                                                .log = seams_.log,
                                                .topic = "model-layout",
                                                .folder = "models/naming/store",
                                                .stop = seams_.stop},
                                               process);
    if (!isBack) co_return false;
    if (co_await seams_.ping(std::string{LocalModel::titleModel})) co_return true;
    seams_.log("model-layout: the host came back but did not answer");
    co_return false;
}

/// Goes as far as it can: the next open sees what is left.
Task<ModelLayoutMigration::Outcome> ModelLayoutMigration::rollBack(RollbackPlan plan) {
    seams_.log("model-layout: the host did not answer on models/naming/store — putting it back");
    if (plan.putTheRuntimeBack) {
        co_await exchange(plan.runtime, plan.oldRuntimeDir);
        co_await removeIfEmpty(plan.runtime);
        co_await putStoreBack(plan);
        co_await removeIfEmpty(plan.naming);
    } else {
        seams_.log(
            "model-layout: the old folder was already gone, so the files stay where they are — only the plist is "
            "settled, and the next open brings the host up");
    }
    plan = co_await whereTheFilesAre(std::move(plan));
    static_cast<void>(co_await seams_.writePlist(plan.binary, plan.modelsDir));
    static_cast<void>(co_await seams_.reload());
    co_return Outcome::RolledBack{};
}

/// A list that named what was moved since, as by a run that was killed, must not be written again.
Task<ModelLayoutMigration::RollbackPlan> ModelLayoutMigration::whereTheFilesAre(RollbackPlan plan) {
    for (const std::string& binary :
         {ModelsFolder::namingBinary(seams_.support), fmt::format("{}/ollama", plan.oldRuntimeDir)}) {
        if (!co_await exists(plan.binary)) plan.binary = binary;
    }
    if (plan.modelsDir != plan.store && plan.modelsDir != plan.oldStore) co_return plan;
    const std::string& other = plan.modelsDir == plan.store ? plan.oldStore : plan.store;
    if (co_await removeIfHollow(*plan.modelsDir) && co_await exists(other)) plan.modelsDir = other;
    co_return plan;
}

}  // namespace larkmoor
