#include "LarkmoorLocalModels/Migration/ModelLayoutMigration.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorLocalModels/Migration/OldModelsLayout.h"
#include "LarkmoorLocalModels/Prefetch/ModelPrefetch.h"
#include "LarkmoorLocalModels/Runtime/HostPlist.h"
#include "LarkmoorPlatform/Folders.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"
#include "LarkmoorWire/Models/MeetingModels.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor {

namespace {

using Done = ModelLayoutMigration::Done;

bool holds(const std::vector<std::string>& names, std::string_view name) {
    return std::ranges::find(names, name) != names.end();
}

/// What is left of a move into the folder that was killed. Blocks.
bool isUnfinished(const std::filesystem::path& path, const std::string& folder) {
    const std::string name = path.filename().string();
    const auto stem = [&name](std::string_view suffix) { return name.substr(1, name.size() - 1 - suffix.size()); };
    if (!name.starts_with('.')) return false;
    if (name.ends_with(Folders::asideSuffix)) return Files::isTaken(folder + "/" + stem(Folders::asideSuffix));
    std::error_code error;
    return name.ends_with(Folders::linkSuffix) && std::filesystem::is_symlink(path, error) &&
           std::filesystem::is_symlink(path.parent_path() / stem(Folders::linkSuffix), error);
}

std::string lastComponent(std::string_view path) {
    return std::filesystem::path{Files::standardized(path)}.filename().string();
}
std::string parent(const std::string& path) { return std::filesystem::path{path}.parent_path().string(); }

}  // namespace

Done ModelLayoutMigration::saying(const Done& done, std::string_view what) {
    if (done) return {};
    return std::unexpected{fmt::format("{} ({})", what, done.error())};
}

bool ModelLayoutOutcome::movedAnything() const {
    if (const auto* pending = as<RuntimePending>()) return !pending->moved.empty();
    if (const auto* migrated = as<Migrated>()) return !migrated->moved.empty();
    return false;
}

ModelLayoutMigration::Decision ModelLayoutMigration::decide(const std::string& support, const Exists& exists,
                                                            const Children& names,
                                                            const std::optional<std::string>& asrCacheDir) {
    const bool hasOldRuntime = exists(OldModelsLayout::runtime(support));
    if (!hasOldRuntime && exists(ModelsFolder::naming(support))) return Decision::nothing;
    // By name: on a volume that ignores case the old folder "exists" as soon as the new one does.
    const auto entries = names(OldModelsLayout::instanceRoot(support));
    const bool isOld = hasOldRuntime || holds(entries, OldModelsLayout::oldVoicesDirName) ||
                       holds(entries, OldModelsLayout::parkedVoicesDirName);
    return isOld || (asrCacheDir && exists(*asrCacheDir)) ? Decision::migrate : Decision::fresh;
}

bool ModelLayoutMigration::isDue(const std::string& support, const Receipts& receipts) {
    const FolderSeams folders = FolderSeams::live(support);
    return decide(support, folders.exists, folders.children, receipts.asrCacheDir) == Decision::migrate;
}

ModelLayoutMigration::FolderSeams ModelLayoutMigration::FolderSeams::live(const std::string& support) {
    return {
        .exists = Files::exists,
        .children = [](const std::string& folder) { return Files::names(folder).value_or(std::vector<std::string>{}); },
        .makeDirectory = [](const std::string& path) -> Done {
            const auto made = Files::makeFolders(path, ClientStoreMode::folder);
            if (!made) return std::unexpected{made.error().reason()};
            return {};
        },
        .move = Folders::move,
        .exchange =
            [](const std::string& one, const std::string& other) {
                const Done done = Folders::makeAbsolute(one);
                return done ? Folders::exchange(one, other) : done;
            },
        .copyTree = Folders::copyTree,
        .removeIfEmpty = [](const std::string& path) { ::rmdir(path.c_str()); },
        .removeIfHollow = Folders::removeIfHollow,
        .removeTree = [root = OldModelsLayout::instanceRoot(support)](
                          const std::string& path) { return Folders::removeTree(root, path); },
    };
}

// The walk

Task<ModelLayoutMigration::Outcome> ModelLayoutMigration::run() {
    moved_.clear();
    haveVoicesMoved_ = false;
    asrCacheDir_.reset();
    const auto receipts = seams_.receipts();
    const Decision decision = co_await BlockingWork::run(
        [support = seams_.support, exists = seams_.folders.exists, names = seams_.folders.children,
         asr = receipts ? receipts->asrCacheDir : std::nullopt] { return decide(support, exists, names, asr); });
    if (decision != Decision::migrate) co_return Outcome::NotNeeded{};
    auto outcome = co_await moveEverything();
    const auto* failed = outcome.as<Outcome::MoveFailed>();
    // What has moved before stays where it is.
    if (failed != nullptr || outcome.is<Outcome::RolledBack>()) co_await settleReceipts();
    if (failed != nullptr) {
        seams_.log(fmt::format("model-layout: {} — nothing is repointed, the next open runs this again", failed->why));
    }
    co_return outcome;
}

Task<ModelLayoutMigration::Outcome> ModelLayoutMigration::moveEverything() {
    if (const auto done = co_await moveVoices(); !done) co_return Outcome::MoveFailed{done.error()};
    if (const auto done = co_await moveSpeech(); !done) co_return Outcome::MoveFailed{done.error()};
    const auto plist = co_await seams_.plistText();
    if (HostPlist::hostPlistLacksModelsDir(plist)) {
        seams_.log(
            "model-layout: the model store is not ours yet — senko and parakeet are in the new folders and the naming "
            "runtime follows once the model migration has run");
        co_await settleReceipts();
        summarize(" — the naming runtime follows");
        co_return Outcome::RuntimePending{moved_};
    }
    const bool hasOldRuntime = co_await exists(OldModelsLayout::runtime(seams_.support));
    const auto made =
        saying(co_await makeDirectory(ModelsFolder::naming(seams_.support)), "models/naming could not be made");
    if (!made) co_return Outcome::MoveFailed{made.error()};
    if (hasOldRuntime) {
        if (plist && co_await seams_.tags() && !co_await seams_.readPid()) {
            co_return Outcome::MoveFailed{"another program answers in the place of the model host"};
        }
        const auto plan = co_await moveRuntime(plist);
        if (!plan) co_return Outcome::MoveFailed{plan.error()};
        if (plan->newBinary && !co_await repoint(*plan)) co_return co_await rollBack(*plan);
    }
    // The receipts first: once the old folder is gone, no run looks again.
    co_await settleReceipts();
    if (hasOldRuntime) co_await removeIfHollow(OldModelsLayout::runtime(seams_.support));
    summarize("");
    co_return Outcome::Migrated{moved_};
}

void ModelLayoutMigration::summarize(std::string_view ending) {
    const std::string list = moved_.empty() ? "" : fmt::format(" ({})", fmt::join(moved_, ", "));
    seams_.log(fmt::format("models moved to one folder{}{}", list, ending));
}

// Voices

Task<Done> ModelLayoutMigration::moveVoices() {
    const std::string parked = OldModelsLayout::parkedVoices(seams_.support);
    const auto entries = co_await children(OldModelsLayout::instanceRoot(seams_.support));
    const bool hasOld = holds(entries, OldModelsLayout::oldVoicesDirName);
    const bool isParked = holds(entries, OldModelsLayout::parkedVoicesDirName);
    if (hasOld) {
        auto aside = saying(co_await move(OldModelsLayout::voices(seams_.support), parked),
                            "the old voices folder could not be moved aside");
        if (!aside) co_return aside;
    } else if (isParked) {
        seams_.log("model-layout: a previous run left the old voices folder parked — picking it up");
    }
    const std::string voices = ModelsFolder::voices(seams_.support);
    for (const std::string& folder : {ModelsFolder::speech(seams_.support), voices}) {
        auto made = saying(co_await makeDirectory(folder), "the models folder could not be made");
        if (!made) co_return made;
    }
    haveVoicesMoved_ = !hasOld && !isParked;
    if (haveVoicesMoved_) co_return Done{};
    for (const std::string& child : co_await children(parked)) {
        const std::string path = fmt::format("{}/{}", parked, child);
        if (co_await BlockingWork::run([path, voices] { return isUnfinished(path, voices); }))
            co_await removeOurs(path);
    }
    for (const std::string& child : co_await children(parked)) {
        auto done = saying(co_await move(fmt::format("{}/{}", parked, child), fmt::format("{}/{}", voices, child)),
                           fmt::format("{} could not be moved into models/voices", child));
        if (!done) co_return done;
    }
    co_await removeIfEmpty(parked);
    haveVoicesMoved_ = true;
    moved_.emplace_back("voices");
    seams_.log("model-layout: senko and the speaker models are under models/voices");
    co_return Done{};
}

// Speech

Task<Done> ModelLayoutMigration::moveSpeech() {
    const auto receipts = seams_.receipts();
    if (receipts && receipts->asrCacheDir && co_await exists(*receipts->asrCacheDir)) {
        co_return co_await moveOurSpeech(Files::standardized(*receipts->asrCacheDir));
    }
    co_return co_await copySharedSpeech();
}

Task<Done> ModelLayoutMigration::moveOurSpeech(std::string cache) {
    const std::string speech = Files::standardized(ModelsFolder::speech(seams_.support));
    const std::string target = cache == speech ? speech : fmt::format("{}/{}", speech, lastComponent(cache));
    auto done = target == cache ? Done{}
                                : saying(co_await move(cache, target),
                                         "the transcription cache could not be moved into models/speech");
    if (done) asrCacheDir_ = target;
    if (!done || target == cache) co_return done;
    const std::string shared = OldModelsLayout::fluidAudio(seams_.support);
    co_await removeIfEmpty(shared);
    co_await removeIfEmpty(parent(shared));
    moved_.emplace_back("speech");
    seams_.log("model-layout: parakeet is under models/speech");
    co_return Done{};
}

Task<Done> ModelLayoutMigration::copySharedSpeech() {
    const std::string shared = OldModelsLayout::fluidAudio(seams_.support);
    bool hasCopied = false;
    for (const std::string& child : co_await children(shared)) {
        if (!child.starts_with(MeetingModels::asrName)) continue;
        const std::string target = fmt::format("{}/{}", ModelsFolder::speech(seams_.support), child);
        if (co_await exists(target)) {
            asrCacheDir_ = target;
            continue;
        }
        auto done = saying(co_await BlockingWork::run([copy = seams_.folders.copyTree, from = shared + "/" + child,
                                                       target] { return copy(from, target); }),
                           "the transcription cache could not be copied into models/speech");
        if (!done) co_return done;
        asrCacheDir_ = target;
        hasCopied = true;
    }
    if (!hasCopied) co_return Done{};
    moved_.emplace_back("speech");
    seams_.log("model-layout: parakeet was not ours to move — copied into models/speech, theirs left untouched");
    co_return Done{};
}

// What the folders and the receipts become

Task<void> ModelLayoutMigration::settleReceipts() {
    auto receipts = seams_.receipts();
    if (!receipts) co_return;
    if (receipts->senkoDir && haveVoicesMoved_) receipts->senkoDir = ModelPrefetch::senkoFolder(seams_.support);
    if (asrCacheDir_) {
        receipts->asrCacheDir = asrCacheDir_;
    } else if (receipts->asrCacheDir && !co_await exists(*receipts->asrCacheDir)) {
        const std::string moved =
            fmt::format("{}/{}", ModelsFolder::speech(seams_.support), lastComponent(*receipts->asrCacheDir));
        if (co_await exists(moved)) receipts->asrCacheDir = moved;
    }
    co_await seams_.writeReceipts(*std::move(receipts));
}

/// The guard of every recursive removal: false, and nothing removed, for what is not inside our own folder.
Task<bool> ModelLayoutMigration::removeOurs(std::string path) {
    const std::string ours = OldModelsLayout::instanceRoot(seams_.support) + "/";
    const bool isPlain = std::filesystem::path{path}.lexically_normal() == std::filesystem::path{path};
    if (!path.starts_with(ours) || path.size() == ours.size() || !isPlain) {
        seams_.log(fmt::format("model-layout: refusing to remove {} — it is not inside our own support folder", path));
        co_return false;
    }
    const auto removed =
        co_await BlockingWork::run([remove = seams_.folders.removeTree, path] { return remove(path); });
    if (!removed) seams_.log(fmt::format("model-layout: {} could not be removed ({})", path, removed.error()));
    co_return removed.has_value();
}

Task<bool> ModelLayoutMigration::exists(std::string path) {
    return BlockingWork::run([exists = seams_.folders.exists, path = std::move(path)] { return exists(path); });
}

Task<std::vector<std::string>> ModelLayoutMigration::children(std::string folder) {
    return BlockingWork::run([list = seams_.folders.children, folder = std::move(folder)] { return list(folder); });
}

Task<Done> ModelLayoutMigration::makeDirectory(std::string path) {
    return BlockingWork::run([make = seams_.folders.makeDirectory, path = std::move(path)] { return make(path); });
}

Task<Done> ModelLayoutMigration::move(std::string from, std::string to) {
    return BlockingWork::run(
        [move = seams_.folders.move, from = std::move(from), to = std::move(to)] { return move(from, to); });
}

Task<Done> ModelLayoutMigration::exchange(std::string one, std::string other) {
    return BlockingWork::run([exchange = seams_.folders.exchange, one = std::move(one), other = std::move(other)] {
        return exchange(one, other);
    });
}

Task<void> ModelLayoutMigration::removeIfEmpty(std::string path) {
    return BlockingWork::run([remove = seams_.folders.removeIfEmpty, path = std::move(path)] { remove(path); });
}

Task<bool> ModelLayoutMigration::removeIfHollow(std::string path) {
    return BlockingWork::run([remove = seams_.folders.removeIfHollow, path = std::move(path)] { return remove(path); });
}

}  // namespace larkmoor
