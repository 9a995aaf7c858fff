// Which models a host lists, and whether the naming model is among them.
#include "LarkmoorPlatform/HTTPClient.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "Support/RunUntil.h"

namespace larkmoor {
namespace {

struct OneAnswer final : HTTPClient {
    std::expected<HTTPAnswer, HTTPFailure> answer;

    Task<std::expected<HTTPAnswer, HTTPFailure>> send(HTTPRequest request, std::stop_token) override {
        EXPECT_EQ(request.method + " " + request.url, "GET http://127.0.0.1:11434/api/tags");
        EXPECT_EQ(request.timeout, std::chrono::seconds{2});
        co_return answer;
    }
    Task<std::expected<void, HTTPFailure>> stream(HTTPRequest, Listener, std::stop_token) override { std::abort(); }
};

TEST(LocalModel, IsReadyIfTheHostListsItWithAnyTag) {
    const std::tuple<int, std::string, std::optional<std::size_t>, bool> table[] = {
        {200, R"({"models":[{"name":"gemma3:4b"},{"name":"fenwright/gemma3-4b-text:latest"}]})", 2, true},
        {200, R"({"models":[{"name":"fenwright\/gemma3-4b-text"}],"more":0})", 1, true},
        {200, R"({"models":[{"name":"fenwright/gemma3-4b-text-q4:latest"}]})", 1, false},
        {200, R"({"models":[{},{"name":null},{"name":["a"]},{"name":"b"}]})", 1, false},
        {200, R"({"models":[{"name":"a"},"fenwright/gemma3-4b-text"]})", {}, false},
        {200, R"({"models":{"name":"fenwright/gemma3-4b-text"}})", {}, false},
        {500, R"({"models":[{"name":"fenwright/gemma3-4b-text"}]})", {}, false},
    };
    MainLoop loop;
    OneAnswer host;
    for (const auto& [status, body, count, ready] : table) {
        host.answer = HTTPAnswer{.head = {.status = status}, .body = copyBytes(body)};
        const auto names = testing::runTask(loop, LocalModel::askNames(host, std::string{LocalModel::endpoint}, {}));
        EXPECT_EQ(names.value() ? std::optional{names.value()->size()} : std::nullopt, count) << body;
        EXPECT_EQ(testing::runTask(loop, LocalModel::ready(host)), ready) << body;
    }
    host.answer = std::unexpected(HTTPFailure{"timed out"});
    EXPECT_EQ(testing::runTask(loop, LocalModel::ready(host)), false);
}

}  // namespace
}  // namespace larkmoor
