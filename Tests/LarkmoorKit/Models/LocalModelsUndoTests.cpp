// What a cancel takes away: the plan for each receipt.
#include "LarkmoorKit/Models/LocalModelsUndo.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <filesystem>
#include <fstream>

#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/ModelsFolder.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using Receipts = LocalModelsUndo::Receipts;
using Inventory = LocalModelsProgress::OllamaInventory;

const Receipts everything{.runtimeDir = "/runtime",
                          .agentPlist = "/agent.plist",
                          .pulledModel = "m",
                          .asrCacheDir = "/asr",
                          .senkoDir = "/senko",
                          .ollama = Inventory{.folder = "/store"},
                          .pullBeganAt = 100};

TEST(LocalModelsUndoTest, PlansWhatTheReceiptsNameInOrder) {
    struct Case {
        const char* name;
        Receipts receipts;
        const char* steps;
        const char* keeps;
        const char* caveats;
    };
    const auto with = [](auto change) {
        Receipts receipts = everything;
        change(receipts);
        return receipts;
    };
    const std::vector<Case> cases{
        {"nothing", {}, "", "", ""},
        {"everything", everything,
         "will ask Ollama to remove the naming model Larkmoor downloaded (m)|the model host Larkmoor started "
         "(tools.fenwright.larkmoor.ollama)|a partly downloaded model file (sha256-1-partial)|/runtime|/asr|/senko|the "
         "model folder Larkmoor created (/store)",
         "", ""},
        {"their model", with([](Receipts& r) { r.ollama = Inventory{"/store", true, {"m"}, 0}; }),
         "the model host Larkmoor started (tools.fenwright.larkmoor.ollama)|a partly downloaded model file "
         "(sha256-1-partial)|/runtime|/asr|/senko",
         "your existing Ollama model stays (m)", ""},
        {"their folder",
         {.ollama = Inventory{"/store", true, {}, 0}},
         "a partly downloaded model file (sha256-1-partial)",
         "your Ollama folder stays; it was here before Larkmoor",
         ""},
        {"their models",
         {.ollama = Inventory{"/store", true, {"a", "b"}, 0}},
         "a partly downloaded model file (sha256-1-partial)",
         "your 2 existing Ollama models stay",
         ""},
        {"no inventory",
         {.pulledModel = "m"},
         "will ask Ollama to remove the naming model Larkmoor downloaded (m)",
         "",
         "partly downloaded model files in your Ollama folder may remain"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const auto steps = LocalModelsUndo::plan(each.receipts, {"/store/blobs/sha256-1-partial"});
        EXPECT_EQ(fmt::format("{}", fmt::join(LocalModelsUndo::describe(steps), "|")), each.steps);
        EXPECT_EQ(fmt::format("{}", fmt::join(LocalModelsUndo::keeps(each.receipts), "|")), each.keeps);
        EXPECT_EQ(fmt::format("{}", fmt::join(LocalModelsUndo::caveats(each.receipts), "|")), each.caveats);
        EXPECT_EQ(LocalModelsUndo::leavesNothingBehind(each.receipts), each.receipts.ollama.has_value());
    }
}

TEST(LocalModelsUndoTest, UndoesWhatKilledPassesMade) {
    const testing::TemporaryFolder folder;
    const std::string store = ModelsFolder::namingStore(folder.path().string()), title{LocalModel::titleModel};
    const std::vector<std::string> made{folder / "runtime", folder / "senko", store};
    for (const std::string& each : made) std::filesystem::create_directories(each);
    const Inventory before{.folder = store};
    const Receipts first{.agentPlist = "/agent.plist",
                         .pulledModel = title,
                         .asrCacheDir = folder / "was there",
                         .senkoDir = folder / "senko",
                         .ollama = before,
                         .pullBeganAt = 100};
    LocalModelsProgress progress{
        .installed = {.runtimeDir = folder / "runtime", .ollama = Inventory{store, true, {title}, 0}},
        .claimed = LocalModelsUndo::claims({.runtimeDir = folder / "runtime"}, first)};
    using Step = LocalModelsUndo::Step;
    std::vector<Step> all{Step::DeleteModel{title},
                          Step::BootoutAgent{"/agent.plist", "tools.fenwright.larkmoor.ollama"},
                          Step::RemoveDirectory{folder / "runtime"}, Step::RemoveDirectory{folder / "senko"},
                          Step::RemoveModelFolder{store}};
    EXPECT_EQ(LocalModelsUndo::planNow(progress), all);
    // The store has become the user's: another model was put into it.
    progress.installed.ollama->models.emplace_back("theirs:1");
    all.pop_back();
    EXPECT_EQ(LocalModelsUndo::planNow(progress), all);
    // By now another host answers, with the model in a store of its own, and nothing of ours is left but the job.
    progress.installed = {.ollama = Inventory{"/theirs", true, {title}, 0}};
    for (const std::string& each : made) std::filesystem::remove(each);
    EXPECT_EQ(LocalModelsUndo::planNow(progress), std::vector<Step>{all[1]});
}

TEST(LocalModelsUndoTest, FindsThePartialBlobsOfItsOwnPull) {
    const testing::TemporaryFolder store;
    std::filesystem::create_directories(store / "blobs");
    const auto began = std::chrono::system_clock::time_point{std::chrono::seconds{1'000'000}};
    const auto blob = [&](const char* name, std::chrono::seconds after) {
        const std::string path = store / ("blobs/" + std::string{name});
        std::ofstream{path} << "x";
        std::filesystem::last_write_time(path, std::chrono::file_clock::from_sys(began + after));
    };
    using std::chrono::seconds;
    blob("sha256-2-partial", seconds{0});
    blob("sha256-1-partial-0", seconds{9});
    blob("sha256-3-partial", seconds{-1});
    blob("sha256-4", seconds{9});
    blob("other-partial", seconds{9});
    Receipts receipts{.ollama = Inventory{.folder = store.path().string()}, .pullBeganAt = 1'000'000};
    EXPECT_THAT(LocalModelsUndo::partialBlobs(receipts),
                ::testing::ElementsAre(store / "blobs/sha256-1-partial-0", store / "blobs/sha256-2-partial"));
    receipts.pullBeganAt.reset();
    EXPECT_THAT(LocalModelsUndo::partialBlobs(receipts), ::testing::IsEmpty());
}

}  // namespace
}  // namespace larkmoor
