// The step with a helper that is a list of lines; Tests/Integration has one that is a program.
#include "LarkmoorLocalModels/Prefetch/RunPrefetch.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Support/RunUntil.h"

namespace larkmoor {
namespace {

using Status = std::optional<std::int32_t>;

Task<PrefetchSeams::Seeding> seeded() { co_return PrefetchSeams::Seeding{"copied", true}; }
Task<Status> ended(Status status) { co_return status; }
Task<bool> toItsEnd(Task<void> task) {
    co_await std::move(task);
    co_return true;
}

/// What the step does to the rows, in words.
std::string trace(std::string_view lines, Status status = 0) {
    std::string told;
    const auto say = [&told](const std::string& words) { told += words + "\n"; };
    const PrefetchSeams seams{
        .prefetchHelper = {},
        .prefetchRunner =
            [=](std::string, const PrefetchSeams::Listener& onLine, std::stop_token) {
                for (std::string_view rest = lines; !rest.empty();) {
                    onLine(rest.substr(0, rest.find('\n')));
                    rest.remove_prefix(std::min(rest.size(), rest.substr(0, rest.find('\n')).size() + 1));
                }
                return ended(status);
            },
        .senkoSeeder = [](std::string) { return seeded(); }};
    const PrefetchRows rows{
        .set = [&](std::string_view id, const RowState& state) { say(fmt::format("{} {}", id, state.logged())); },
        .quietSkip = [&](std::string_view id, std::string_view) { say(fmt::format("{} quiet", id)); },
        .markPresent = [&](std::string_view id) { say(fmt::format("{} present", id)); },
        .transfer = [&](std::string_view id, Transfer at) { say(fmt::format("{} {}/{}", id, at.bytes, *at.total)); },
        .setAsrCacheDir = [&](const std::optional<std::string>& dir) { say("asr in " + dir.value_or("-")); },
        .setSenkoDir = [&](const std::string& dir) { say("voices in " + dir); },
        .log = [&](const std::string& line) { say(line); }};
    MainLoop loop;
    const auto done = testing::runTask(loop, toItsEnd(runPrefetch(seams, rows, "/helper", "/s", {})));
    EXPECT_TRUE(done.has_value());
    const std::string_view head =
        "model-prefetch: senko belt seed — copied\nvoices in /s/Larkmoor/models/voices/senko\nasr active(nil)\n";
    EXPECT_TRUE(told.starts_with(head)) << told;
    return told.substr(std::min(told.size(), head.size()));
}

/// Without the helper's own lines.
std::string rowsAfter(std::string_view lines) {
    std::string told = trace(lines), rows;
    for (std::size_t at = 0, end = 0; at < told.size(); at = end + 1) {
        end = told.find('\n', at);
        if (!std::string_view{told}.substr(at).starts_with("model-prefetch: "))
            rows += told.substr(at, end - at) + "; ";
    }
    return rows;
}

TEST(RunPrefetchTests, LinesBecomeStatesOfTheRows) {
    struct Case {
        std::string_view lines, rows;
    };
    const std::string_view unfinished = "asr skipped; vad skipped; ";
    const Case cases[] = {
        {"", unfinished},
        {R"({"component":"asr","event":"bytes"})", unfinished},
        {R"({"component":"asr","event":"bytes","done":-1})", unfinished},
        {R"({"component":"asr","event":"bytes","done":"9"})", unfinished},
        {R"({"component":"tts","event":"done"})"
         "\n"
         R"({"event":"done"})"
         "\n"
         R"({"component":"asr","event":"sung"})"
         "\nno json\n\xFF\xFE\n{\"component\":\"asr\",\"ev",
         unfinished},
        {R"({"component":"asr","event":"done"})", "asr done(\"downloaded\"); asr done(\"downloaded\"); vad skipped; "},
        {R"({"component":"vad","event":"done","present":true})", "asr skipped; vad done(\"already on this Mac\"); "},
        {R"({"component":"vad","event":"done"})", unfinished},
        // Backwards, and beyond the size: the count is told as it is, and the row stays active.
        {R"({"component":"asr","event":"phase"})"
         "\n"
         R"({"component":"asr","event":"bytes","done":928826500})"
         "\n"
         R"({"component":"asr","event":"bytes","done":1})",
         "asr active(nil); asr 928826500/464413250; asr 1/464413250; asr skipped; vad skipped; "},
        {R"({"component":"asr","event":"failed"})", "asr skipped; asr skipped; vad skipped; "},
        {R"({"component":"asr","event":"start","dir":"/s/Larkmoor/models/speech/p"})"
         "\n"
         R"({"component":"asr","event":"done","cached" : true})",
         "asr in /s/Larkmoor/models/speech/p; asr active(nil); asr in -; asr present; asr done(\"already "
         "downloaded\"); "
         "asr done(\"already downloaded\"); vad skipped; "},
        // No folder of somebody else is ever written down as ours.
        {R"({"component":"asr","event":"start","dir":"/home/u"})", "asr active(nil); asr skipped; vad skipped; "},
        {R"({"component":"asr","event":"start","dir":"/s/Larkmoor/models/speech/../voices"})",
         "asr active(nil); asr skipped; vad skipped; "},
    };
    for (const Case& each : cases) EXPECT_EQ(rowsAfter(each.lines), each.rows) << each.lines;
}

TEST(RunPrefetchTests, TheFractionNeverGoesBackAndNeverFillsTheRow) {
    PrefetchProgress progress;
    for (const std::int64_t done : {464413250LL / 2, 1LL, 9'000'000'000'000LL}) {
        const double before = progress.shown;
        progress.apply({.component = "asr", .event = "bytes", .done = done});
        EXPECT_EQ(progress.asr, RowState{RowState::Active{progress.shown}});
        EXPECT_EQ(progress.asrBytes, done);
        EXPECT_GE(progress.shown, before);
    }
    EXPECT_EQ(progress.shown, 0.99);
}

TEST(RunPrefetchTests, TheLogTellsTheLinesAndTheEnd) {
    EXPECT_EQ(trace("a\x1b[1m\xC3(\n{\"component\":\"asr\",\"event\":\"bytes\"}", 3),
              "model-prefetch: a\uFFFD[1m\uFFFD(\nasr skipped\nvad skipped\n"
              "model-prefetch: helper exit 3 asr=skipped vad=skipped\n");
    EXPECT_EQ(trace("", std::nullopt),
              "model-prefetch: couldn't start the pre-download — the first meeting downloads it instead\n"
              "asr skipped\nvad skipped\nmodel-prefetch: helper exit spawn-failed asr=skipped vad=skipped\n");
    std::string flood;
    for (int line = 0; line < 100'000; ++line) flood += "too much\n";
    EXPECT_LT(trace(flood).size(), std::size_t{1} << 20U);
}

}  // namespace
}  // namespace larkmoor
