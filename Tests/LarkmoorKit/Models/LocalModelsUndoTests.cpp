// What a cancel takes away: the plan for each receipt.
#include "LarkmoorKit/Models/LocalModelsUndo.h"

#include <fmt/ranges.h>

#include <fstream>

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
