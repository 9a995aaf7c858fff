#include "LarkmoorLocalModels/Migration/ModelMigration.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorKit/Models/LocalModelsUndo.h"
#include "LarkmoorLocalModels/Migration/NewHost.h"
#include "LarkmoorLocalModels/Runtime/HostPlist.h"
#include "LarkmoorLocalModels/Store/ByteCount.h"
#include "LarkmoorLocalModels/Store/ModelStore.h"
#include "LarkmoorWire/Models/LocalModel.h"

namespace larkmoor {

namespace {

const std::string title{LocalModel::titleModel};
const std::string old{ModelMigration::oldModel};

}  // namespace

ModelMigration::Decision ModelMigration::decide(const std::optional<std::string>& plistText) {
    if (!plistText) return Decision::fresh;
    return HostPlist::hostPlistLacksModelsDir(plistText) ? Decision::migrate : Decision::nothing;
}

bool ModelMigration::mayDeleteOldModel(const std::optional<Receipts>& receipts) {
    return receipts && receipts->oldModelWasOurs.value_or(LocalModelsUndo::weInstalled(oldModel, *receipts));
}

Task<ModelMigration::Outcome> ModelMigration::run() {
    const Decision decision = decide(co_await seams_.plistText());
    if (decision == Decision::nothing && seams_.wasCutShort) co_return co_await finishCutShort();
    if (decision != Decision::migrate) co_return Outcome::NotNeeded{};
    const auto tags = co_await seams_.tags();
    const bool oldModelIsThere = tags && std::ranges::any_of(*tags, [](const std::string& name) {
                                     return name == old || name.starts_with(old + ":");
                                 });
    // Its models are not ours to move, and ours could not have its port.
    if (tags && !co_await seams_.readPid()) {
        seams_.log("model-migration: another program answers in our host's place — nothing moved");
        co_return Outcome::NotNeeded{};
    }
    seams_.log(fmt::format("model-migration: updating the naming model — pulling {}", title));
    if (!co_await seams_.pull(title)) {
        seams_.log(fmt::format("model-migration: the pull did not finish — nothing moved, {} is still naming", old));
        co_return Outcome::PullFailed{};
    }
    if (!co_await seams_.ping(title)) {
        seams_.log("model-migration: the new model did not answer — nothing moved, retrying at the next open");
        co_return Outcome::PingFailed{};
    }
    if (const auto moved = co_await moveModel(); !moved) {
        seams_.log(fmt::format("model-migration: the move failed ({}) — the host is unmoved and still naming",
                               moved.error().message));
        co_return Outcome::MoveFailed{};
    }
    if (!co_await repoint()) co_return co_await rollBack();
    co_return co_await finish(oldModelIsThere);
}

Task<ModelMigration::Ended> ModelMigration::moveModel() {
    // The store of the old model, too; once the host is repointed it is no longer the host's.
    oldFolder_ = co_await seams_.hostFolder();
    const auto moved = co_await BlockingWork::run(
        [from = oldFolder_, to = seams_.ourModelsDir()] { return ModelStore::moveModel(title, from, to); });
    if (!moved) co_return std::unexpected{SetupError{moved.error().message}};
    co_return Ended{};
}

/// Whether a host has come back on our folder that names.
Task<bool> ModelMigration::repoint() {
    const auto process = co_await seams_.readPid();
    auto reloaded = co_await seams_.writePlist(seams_.ourModelsDir());
    if (reloaded) reloaded = co_await seams_.reload();
    if (!reloaded) {
        seams_.log(fmt::format("model-migration: the reload failed ({})", reloaded.error().message));
        co_return false;
    }
    co_return co_await NewHost::wait({.tags = seams_.tags,
                                      .readPid = seams_.readPid,
                                      .pause = seams_.pause,
                                      .log = seams_.log,
                                      .proves = [ping = seams_.ping] { return ping(title); },
                                      .topic = "model-migration",
                                      .folder = "our folder",
                                      .stop = seams_.stop},
                                     process);
}

/// The moved model stays in our store, where a later pass finds it.
Task<ModelMigration::Outcome> ModelMigration::rollBack() {
    seams_.log("model-migration: the host did not answer on our folder — putting it back");
    static_cast<void>(co_await seams_.writePlist(std::nullopt));
    static_cast<void>(co_await seams_.reload());
    co_return Outcome::RolledBack{};
}

/// The host runs by the new list; only what proves itself replaces the old model.
Task<ModelMigration::Outcome> ModelMigration::finishCutShort() {
    const auto tags = co_await seams_.tags();
    if (!tags || !LocalModel::ready(*tags) || !co_await seams_.ping(title)) co_return Outcome::NotNeeded{};
    oldFolder_ = seams_.defaultFolder();
    co_return co_await finish(true);
}

Task<ModelMigration::Outcome> ModelMigration::finish(bool oldModelIsThere) {
    std::int64_t freed = 0;
    if (oldModelIsThere && mayDeleteOldModel(seams_.receipts())) {
        freed = co_await BlockingWork::run(
            [folder = oldFolder_] { return ModelStore::deleteModel(oldModel, folder).value_or(0); });
    }
    seams_.log(fmt::format("model-migration: now naming with {}; {} disk given back", title,
                           freed > 0 ? ByteCount::label(freed) : "no"));
    co_return Outcome::Migrated{freed};
}

}  // namespace larkmoor
