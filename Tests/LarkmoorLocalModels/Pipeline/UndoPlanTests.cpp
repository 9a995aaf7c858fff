// What a cancel takes away after killed passes: from receipts and claims, and from what is on the disk by now.
#include "LarkmoorLocalModels/Pipeline/UndoPlan.h"

#include <fstream>

#include "LarkmoorLocalModels/Pull/ModelPull.h"
#include "LarkmoorLocalModels/Runtime/RuntimeProof.h"
#include "LarkmoorLocalModels/Store/ModelStore.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/ModelsFolder.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using Step = LocalModelsUndo::Step;
using Receipts = LocalModelsProgress::Receipts;
using Inventory = LocalModelsProgress::OllamaInventory;

const std::string title{LocalModel::titleModel}, mirror{ModelPull::mirrorModel};

void addModel(const std::string& store, std::string_view manifest) {
    const std::filesystem::path path = store + "/manifests/" + std::string{manifest};
    std::filesystem::create_directories(path.parent_path());
    std::ofstream{path} << "{}";
}

std::vector<Step> planned(const LocalModelsProgress& progress, const std::string& support = "/none") {
    return UndoPlan::of(progress, support);
}

TEST(UndoPlanTest, UndoesWhatKilledPassesMade) {
    const testing::TemporaryFolder folder;
    const std::string store = ModelsFolder::namingStore(folder.path().string());
    const std::vector<std::string> made{folder / "runtime", folder / "senko", store};
    for (const std::string& each : made) std::filesystem::create_directories(each);
    const Receipts first{.agentPlist = "/agent.plist",
                         .pulledModel = title,
                         .asrCacheDir = folder / "was there",
                         .senkoDir = folder / "senko",
                         .ollama = Inventory{.folder = store},
                         .pullBeganAt = 100};
    LocalModelsProgress progress{
        .installed = {.runtimeDir = folder / "runtime", .ollama = Inventory{store, true, {title}, 0}},
        .claimed = UndoPlan::merged({.runtimeDir = folder / "runtime"}, first)};
    std::vector<Step> all{Step::DeleteModel{title},
                          Step::BootoutAgent{"/agent.plist", "tools.fenwright.larkmoor.ollama"},
                          Step::RemoveDirectory{folder / "runtime"}, Step::RemoveDirectory{folder / "senko"},
                          Step::RemoveModelFolder{store}};
    EXPECT_EQ(planned(progress), all);
    // The pull was killed when the mirror had given the model.
    addModel(store, "hf.co/fenwright/gemma3-4b-text/latest");
    all.insert(all.begin() + 1, Step::DeleteModel{mirror});
    EXPECT_EQ(planned(progress), all);
    // The store has become the user's: another model was put into it.
    addModel(store, "registry.ollama.ai/library/theirs/1");
    all.pop_back();
    EXPECT_EQ(planned(progress), all);
    // By now another host answers, with the model in a store of its own, and nothing of ours is left but the job.
    progress.installed = {.ollama = Inventory{"/theirs", true, {title}, 0}};
    for (const std::string& each : made) std::filesystem::remove_all(each);
    EXPECT_EQ(planned(progress), std::vector<Step>{all[2]});
}

TEST(UndoPlanTest, TheLastPassTakesNothingThatHasBecomeTheUsers) {
    const testing::TemporaryFolder store;
    const std::string part = store / "blobs/sha256-1-partial";
    std::filesystem::create_directories(store / "blobs");
    std::ofstream{part} << "x";
    LocalModelsProgress progress{
        .rows = {{.id = "model", .state = "active"}},
        .installed = {.ollama = Inventory{.folder = store.path().string()}, .pullBeganAt = 100}};
    EXPECT_EQ(planned(progress),
              (std::vector<Step>{Step::RemoveFile{part}, Step::RemoveModelFolder{store.path().string()}}));
    addModel(store.path().string(), "registry.ollama.ai/library/theirs/1");
    EXPECT_EQ(planned(progress), (std::vector<Step>{Step::RemoveFile{part}}));
    progress.rows[0].state = "done";
    EXPECT_EQ(planned(progress), std::vector<Step>{});
}

TEST(UndoPlanTest, AModelOnItsWayIntoOurStoreGoes) {
    const testing::TemporaryFolder support;
    const std::string store = ModelsFolder::namingStore(support.path().string());
    std::filesystem::create_directories(store + "/blobs");
    LocalModelsProgress progress{.installed = {.pulledModel = title, .ollama = Inventory{"/theirs", true, {}, 0}}};
    std::vector<Step> steps{Step::DeleteModel{title}, Step::RemoveModelFolder{store}};
    EXPECT_EQ(planned(progress, support.path().string()), steps);
    progress.claimed = std::exchange(progress.installed, {});
    EXPECT_EQ(planned(progress, support.path().string()), steps);
    addModel(store, "registry.ollama.ai/library/theirs/1");
    steps.pop_back();
    EXPECT_EQ(planned(progress, support.path().string()), steps);
    progress.claimed->ollama->models = {title};  // before the pull
    EXPECT_EQ(planned(progress, support.path().string()), std::vector<Step>{});
}

TEST(UndoPlanTest, BehindALinkOnlyWhatWeBroughtGoes) {
    const testing::TemporaryFolder folder;
    const std::string runtime = folder / "runtime";
    std::filesystem::create_directories(folder / "disk/theirs");
    std::filesystem::create_directory_symlink(folder / "disk", runtime);
    EXPECT_EQ(planned({.installed = {.runtimeDir = runtime}}), std::vector<Step>{});
    ASSERT_TRUE(RuntimeProof::write(runtime + "/ollama", "unproven", {"bin", "..", "lib"}).has_value());
    std::vector<Step> steps;
    for (const char* name : {"bin", "lib", "ollama", "ollama.sha256"}) {
        steps.emplace_back(Step::RemoveDirectory{fmt::format("{}/{}", runtime, name)});
    }
    EXPECT_EQ(planned({.installed = {.runtimeDir = runtime}}), steps);
}

TEST(UndoPlanTest, TheModelsInAnOldRuntimesFolderStay) {
    const testing::TemporaryFolder runtime;
    const std::string path = runtime.path().string();
    std::ofstream{runtime / "ollama"} << "x";
    const LocalModelsProgress progress{.installed = {.runtimeDir = path}};
    EXPECT_EQ(planned(progress), std::vector<Step>{Step::RemoveDirectory{path}});
    addModel(path + "/models", "registry.ollama.ai/library/theirs/1");
    EXPECT_EQ(planned(progress), std::vector<Step>{Step::RemoveDirectory{path + "/ollama"}});
}

TEST(UndoPlanTest, TheSpeechModelIsOursOnceItIsLoaded) {
    const Receipts installed{.asrCacheDir = "/asr"};
    for (const auto& [state, bytes, isOurs] : {std::tuple{"active", std::optional<Int>{}, false},
                                               {"active", 1, true},
                                               {"done", std::nullopt, true},
                                               {"skipped", 0, false}}) {
        const LocalModelsProgress progress{.rows = {{.id = "asr", .state = state, .bytes = bytes}},
                                           .installed = installed};
        EXPECT_EQ(UndoPlan::claims(progress).asrCacheDir.has_value(), isOurs) << state;
    }
}

TEST(UndoPlanTest, AClaimedPullStaysUntilOneHasFailed) {
    LocalModelsProgress progress{.rows = {{.id = "model", .state = "skipped"}}, .installed = {.pulledModel = title}};
    EXPECT_EQ(UndoPlan::claims(progress).pulledModel, std::nullopt);
    progress.claimed = progress.installed;
    EXPECT_EQ(UndoPlan::claims(progress).pulledModel, title);
}

TEST(UndoPlanTest, APullItsStoreAndItsBeginningAreOneFact) {
    const Inventory one{.folder = "/one"}, again{"/one", true, {title}, 9}, other{.folder = "/other"};
    struct Case {
        Receipts claimed, installed, merged;
    };
    const Receipts pulled{.pulledModel = title, .ollama = one, .pullBeganAt = 1};
    for (const auto& [claimed, installed, merged] : {
             Case{{.ollama = other}, pulled, pulled},
             Case{pulled, {.pulledModel = title, .ollama = other, .pullBeganAt = 2}, pulled},
             Case{pulled, {.ollama = other}, pulled},
             Case{{.pulledModel = title}, {.ollama = again}, {.pulledModel = title}},
             Case{{.ollama = one}, {.pulledModel = title, .ollama = again, .pullBeganAt = 1}, pulled},
             Case{{.pulledModel = "old", .ollama = other, .pullBeganAt = 0}, pulled, pulled},
         }) {
        EXPECT_TRUE(UndoPlan::merged(claimed, installed) == merged);
    }
}

}  // namespace
}  // namespace larkmoor
