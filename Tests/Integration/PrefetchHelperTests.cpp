// The speech helper as a program: a stand-in that is honest or not.
#include <fstream>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorLocalModels/Prefetch/ModelPrefetch.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "LarkmoorWire/Models/ModelsFolder.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

constexpr std::string_view vadLine = R"({"component":"vad","event":"done","present":true})";

struct PrefetchHelperTests : ::testing::Test {
    MainLoop loop;
    SpawningProcessRunner runner{loop};
    const testing::TemporaryFolder home;
    const std::string support = home / "Library/Application Support";
    std::vector<std::string> lines;
    std::stop_source stop;

    void play(std::string_view steps) { std::ofstream{home / "larkmoor-transcribe.json"} << steps; }
    std::optional<std::int32_t> run() {
        lines.clear();
        const auto onLine = [this](std::string_view line) { lines.emplace_back(line); };
        const auto seams = ModelPrefetch::live(runner, std::nullopt, home.path(), support);
        return testing::runTask(loop, seams.prefetchRunner(LARKMOOR_UNDERSTUDY_TRANSCRIBE, onLine, stop.get_token()))
            .value_or(std::nullopt);
    }
};

TEST_F(PrefetchHelperTests, FetchesOnceIntoTheFoldersOfTheModels) {
    EXPECT_EQ(run(), 0);
    EXPECT_THAT(lines.front(), HasSubstr(R"("dir":")" + ModelsFolder::speech(support)));
    EXPECT_TRUE(std::filesystem::exists(ModelPrefetch::senkoFolder(support) + "/voices.bin"));
    EXPECT_EQ(run(), 0);
    EXPECT_THAT(lines.front(), HasSubstr(R"("cached":true)"));
}

TEST_F(PrefetchHelperTests, EndsWithTheHelperWhoeverHoldsItsOutput) {
    for (const char* child : {"waits", "floods", "leaves", "leaves, floods"}) {
        play(fmt::format(R"({{"steps":[{{"child":"{}"}},{{"line":"last"}}],"exit":3}})", child));
        EXPECT_EQ(run(), 3) << child;
        EXPECT_THAT(lines, ::testing::Contains("last")) << child;
    }
    // More than one turn of the loop reads, and no line feed.
    play(R"({"steps":[{"fill":60000}],"signal":11})");
    EXPECT_EQ(run(), SIGSEGV);
    EXPECT_EQ(lines, std::vector<std::string>{std::string(60'000, 'x')});
}

TEST_F(PrefetchHelperTests, HearsTheLastLineAfterLinesThatAreNone) {
    play(R"({"steps":[{"bytes":"/////w==","text":"\n","times":1000},{"fill":100000000},{"text":"\n"},)"
         R"({"line":"","times":10000},{"line":"{\"component\":\"vad\",\"event\":\"done\",\"present\":true}"}]})");
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(lines.back(), vadLine);
    EXPECT_EQ(lines.size(), 11'001U);
}

TEST_F(PrefetchHelperTests, ACancelEndsAHelperThatHangsOrFloods) {
    for (const char* steps : {R"({"steps":[{"hang":true}]})", R"({"steps":[{"line":"x","times":-1}]})"}) {
        play(steps);
        stop = {};
        MainTimer soon{loop, 200ms};
        // The flood leaves the loop time for others: this handler runs.
        soon.async_wait([this](boost::system::error_code) { stop.request_stop(); });
        EXPECT_EQ(run(), SIGKILL) << steps;
    }
}

TEST_F(PrefetchHelperTests, TellsThatThereIsNoHelper) {
    const auto seams = ModelPrefetch::live(runner, home / "X.app", home.path(), support);
    EXPECT_EQ(testing::runTask(loop, seams.prefetchHelper()), std::make_optional(std::optional<std::string>{}));
    const auto seeding = testing::runTask(loop, seams.senkoSeeder("/usr/bin/larkmoor-transcribe"));
    ASSERT_TRUE(seeding);
    EXPECT_EQ(seeding->summary, "no app bundle around /usr/bin/larkmoor-transcribe — nothing to seed from (dev run)");
    EXPECT_EQ(testing::runTask(loop, seams.prefetchRunner(home / "none", [](std::string_view) {}, {})),
              std::make_optional(std::optional<std::int32_t>{}));
}

}  // namespace
}  // namespace larkmoor
