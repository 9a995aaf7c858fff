// What the lines of a download mean, and where a model comes from when the registry fails.
#include "LarkmoorLocalModels/Pull/ModelPull.h"
#include "LarkmoorLocalModels/Pull/PullLines.h"
#include "LarkmoorPlatform/HTTPClient.h"
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
        {lineOf("a", "14", "100") + "x", ""},  // no JSON
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
    PullLines lines, inOneStep;
    std::string text, wanted, told;
    for (const auto& [line, want] : steps) {
        text += line + "\n";
        wanted += want;
        const auto transfer = lines.read(line);
        EXPECT_EQ(transfer ? fmt::format("{}/{}", transfer->bytes, *transfer->total) : "", want) << line;
        EXPECT_FALSE(lines.error() || lines.isSuccess()) << line;
    }
    const auto tell = [&](const Transfer& transfer) { told += fmt::format("{}/{}", transfer.bytes, *transfer.total); };
    LineReader{}.read(
        asBytes(text),
        [&](std::string_view line) {
            if (const auto transfer = inOneStep.read(line)) tell(*transfer);
            return true;
        },
        [&](std::string_view rest) { return inOneStep.readAlike(rest, tell); });
    EXPECT_EQ(told, wanted);
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

/// A host whose registry refuses and whose mirror does not. At `stopAt` its client is stopped.
class StoppedHost final : public HTTPClient {
  public:
    StoppedHost(std::string stopAt, std::string failure) : stopAt_(std::move(stopAt)), failure_(std::move(failure)) {}

    Task<std::expected<HTTPAnswer, HTTPFailure>> send(HTTPRequest request, std::stop_token token) override {
        note(request);
        if (token.stop_requested()) co_return std::unexpected(HTTPFailure{"cancelled"});
        const BytesView response = asBytes(R"({"response":""})");
        co_return HTTPAnswer{.head = {.status = 200}, .body = {response.begin(), response.end()}};
    }
    Task<std::expected<void, HTTPFailure>> stream(HTTPRequest request, Listener listener, std::stop_token) override {
        note(request);
        if (!failure_.empty()) co_return std::unexpected(HTTPFailure{failure_});
        listener.head({.status = 200});
        listener.piece(asBytes(std::exchange(pulls_, 1) == 0 ? "{\"error\":\"no\"}\n" : "{\"status\":\"success\"}\n"));
        co_return std::expected<void, HTTPFailure>{};
    }

    std::stop_source stop;
    std::string asked;

  private:
    void note(const HTTPRequest& request) {
        const std::string name = request.url.substr(request.url.rfind('/'));
        asked += name;
        if (name == stopAt_) stop.request_stop();
    }

    const std::string stopAt_, failure_;
    int pulls_ = 0;
};

TEST(ModelPull, LeavesNothingOfTheMirrorWhenStoppedAndAsksNoDeadHostTwice) {
    struct Row {
        std::string stopAt, failure, asked;
    };
    for (const auto& [stopAt, failure, asked] : {
             Row{"/copy", "", "/pull/pull/copy/delete"},
             Row{"/generate", "", "/pull/pull/copy/generate/delete"},
             Row{"/delete", "", "/pull/pull/copy/generate/delete/delete"},
             Row{"", "", "/pull/pull/copy/generate/delete"},
             Row{"", "timed out", "/pull"},
         }) {
        StoppedHost host{stopAt, failure};
        ModelPull pull{ModelPull::live(
            {.http = &host, .stop = host.stop.get_token()}, [](Transfer) {}, [](const std::string&) {})};
        MainLoop loop;
        testing::runTask(loop, pull.run());
        EXPECT_EQ(host.asked, asked);
    }
}

}  // namespace
}  // namespace larkmoor
