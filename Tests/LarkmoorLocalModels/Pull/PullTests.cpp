// What the lines of a download mean, and where a model comes from when the registry fails.
#include <gtest/gtest.h>

#include "LarkmoorLocalModels/Pull/ModelPull.h"
#include "LarkmoorLocalModels/Pull/PullLines.h"
#include "Support/RunUntil.h"

namespace larkmoor {
namespace {

std::string lineOf(std::string_view digest, std::string_view completed, std::string_view total) {
    return fmt::format(R"({{"status":"pulling","digest":"{}","total":{},"completed":{}}})", digest, total, completed);
}

TEST(PullLines, ReportOnlyWhatIsFurther) {
    struct Step {
        std::string line, want;  ///< "bytes/total" where something is reported
    };
    const Step steps[]{
        {R"({"status":"pulling manifest"})", ""},
        {lineOf("a", "0", "100"), ""},
        {lineOf("a", "10", "100"), "10/100"},
        {lineOf("a", "10", "100"), ""},
        {lineOf("a", "5", "100"), ""},
        {lineOf("a", "050", "100"), ""},  // no JSON
        {lineOf("a", "11.5", "100"), "11/100"},
        {lineOf("a", "\"99\"", "100"), ""},
        {lineOf("a", "\"98\"", "100"), ""},
        {lineOf("a", "12", "100"), "12/100"},
        {R"({"digest":"a","total":50})", ""},
        {lineOf("a", "13", "100"), "13/100"},
        {lineOf("a", "9e1", "100"), "90/100"},
        {lineOf("b", "0", "100"), ""},  // a new layer: 90 of 200
        {lineOf("b", "80", "100"), ""},
        {lineOf("b", "91", "100"), "181/200"},
        {lineOf("c", "7", "0"), ""},
        {lineOf("c", "7", "-1"), ""},
        {R"({"digest":"a","total":50,"completed":50})", "141/150"},
        {R"({"digest":"a","total":50,"completed":50,"completed":59})", "150/150"},
        {R"({"digest":"b","total":100})", ""},
        {lineOf("a", "1e300", "1e308"), ""},
        {R"([{"error":"no"}])", ""},
        {R"({"error":{"code":1},"status":"successful"})", ""},
        {"", ""},
    };
    PullLines lines;
    for (const auto& [line, want] : steps) {
        const auto transfer = lines.read(line);
        EXPECT_EQ(transfer ? fmt::format("{}/{}", transfer->bytes, *transfer->total) : "", want) << line;
        EXPECT_FALSE(lines.error() || lines.isSuccess()) << line;
    }
    EXPECT_FALSE(lines.read(R"({"status":"success","digest":"d","total":0})"));
    EXPECT_TRUE(lines.isSuccess());
    EXPECT_FALSE(lines.read(R"({"error":"disk \"full\"","digest":"a","total":1,"completed":1})"));
    EXPECT_EQ(lines.error(), "disk \"full\"");
}

TEST(LineReader, CutsAlikeHoweverTheBytesArrive) {
    const std::string fits(LineReader::maxLine, 'f');
    const std::string text = "one\n\n" + fits + "\n" + fits + "x\ntwo\r\n" + fits + fits + fits + "\nlast";
    const std::string want = "one||" + fits + "|two\r|last|";
    for (const std::size_t size : {std::size_t{1}, std::size_t{7}, LineReader::maxLine, text.size()}) {
        LineReader reader;
        std::string lines;
        const auto take = [&](std::string_view line) { return lines.append(line) += '|', true; };
        for (std::size_t at = 0; at < text.size(); at += size)
            reader.read(asBytes(text).subspan(at, std::min(size, text.size() - at)), take);
        reader.finish(take);
        EXPECT_TRUE(lines == want) << size;
    }
}

TEST(ModelPull, TheMirrorHelpsOnlyAgainstTheRegistry) {
    using Outcome = ModelPull::Outcome;
    const Outcome pulled = Outcome::Pulled{}, mirrored = Outcome::Mirrored{},
                  network = Outcome::Failed{PullFailure::network}, registry = Outcome::Failed{PullFailure::registry};
    const std::string title{LocalModel::titleModel}, mirror{ModelPull::mirrorModel};
    const std::string both = "pull " + title + " pull " + mirror;
    const std::string copied = both + " copy " + mirror + " " + title, pinged = copied + " ping " + title;
    struct Row {
        std::optional<std::string> first, second;
        bool copies, answers;
        Outcome want;
        std::string calls;
    };
    const Row rows[]{
        {{}, {}, true, true, pulled, "pull " + title},
        {"dial tcp: lookup registry", {}, true, true, network, "pull " + title},
        {"Connection Refused", {}, true, true, network, "pull " + title},
        {"file does not exist", "dial tcp", true, true, registry, both},
        {"file does not exist", {}, false, true, registry, copied},
        {"file does not exist", {}, true, false, registry, pinged},
        {"file does not exist", {}, true, true, mirrored, pinged + " remove " + mirror},
    };
    const auto given = [](auto answer) -> Task<decltype(answer)> { co_return answer; };
    for (const Row& row : rows) {
        std::string calls, log;
        const auto note = [&](const std::string& call) { calls += (calls.empty() ? "" : " ") + call; };
        ModelPull pull{
            {.pull =
                 [&](const std::string& name) {
                     return note("pull " + name), given(name == mirror ? row.second : row.first);
                 },
             .copy = [&](const std::string& from,
                         const std::string& to) { return note("copy " + from + " " + to), given(row.copies); },
             .ping = [&](const std::string& name) { return note("ping " + name), given(row.answers); },
             .remove = [&](const std::string& name) { return note("remove " + name), given(false); },
             .log = [](const std::string&) {}}};
        MainLoop loop;
        EXPECT_TRUE(testing::runTask(loop, pull.run()) == row.want) << row.calls;
        EXPECT_EQ(calls, row.calls);
    }
}

}  // namespace
}  // namespace larkmoor
