// Which models a host lists, and whether the naming model is among them.
#include "LarkmoorPlatform/HTTPClient.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/ModelsFolder.h"
#include "Support/RunUntil.h"

namespace larkmoor {
namespace {

using Names = std::optional<std::vector<std::string>>;

struct OneAnswer final : HTTPClient {
    std::expected<HTTPAnswer, HTTPFailure> answer;
    HTTPRequest asked;

    Task<std::expected<HTTPAnswer, HTTPFailure>> send(HTTPRequest request, std::stop_token) override {
        asked = std::move(request);
        co_return answer;
    }
    Task<std::expected<void, HTTPFailure>> stream(HTTPRequest, Listener, std::stop_token) override { std::abort(); }
};

TEST(LocalModel, IsReadyIfTheHostListsItWithAnyTag) {
    const std::string title{LocalModel::titleModel};
    struct Case {
        int status;
        std::string body;
        Names names;
        bool ready = false;
    };
    const Case table[] = {
        {200, R"({"models":[{"name":"gemma3:4b"},{"name":"fenwright/gemma3-4b-text:latest","size":1}]})",
         Names{{"gemma3:4b", title + ":latest"}}, true},
        {200, R"({"models":[{"name":"fenwright\/gemma3-4b-text"}],"more":0})", Names{{title}}, true},
        {200, R"({"models":[{"name":"fenwright/gemma3-4b-text-q4:latest"}]})", Names{{title + "-q4:latest"}}},
        {200, R"({"models":[{},{"name":null},{"name":["a"]},{"name":"b"}]})", Names{{"b"}}},
        {200, R"({"models":[]})", Names{std::in_place}},
        {200, R"({"models":[{"name":"a"},"fenwright/gemma3-4b-text"]})", {}},
        {200, R"({"models":{"name":"fenwright/gemma3-4b-text"}})", {}},
        {200, R"({"model":[]})", {}},
        {200, R"([{"models":[]}])", {}},
        {200, R"({"models":[]}})", {}},
        {500, R"({"models":[{"name":"fenwright/gemma3-4b-text"}]})", {}},
    };
    MainLoop loop;
    OneAnswer host;
    for (const Case& row : table) {
        host.answer = HTTPAnswer{.head = {.status = row.status}, .body = copyBytes(row.body)};
        EXPECT_EQ(testing::runTask(loop, LocalModel::askNames(host, "http://[::1]:9", {})),
                  std::make_optional(row.names))
            << row.body;
        EXPECT_EQ(testing::runTask(loop, LocalModel::ready(host)), row.ready) << row.body;
    }
    host.answer = std::unexpected(HTTPFailure{"timed out"});
    EXPECT_EQ(testing::runTask(loop, LocalModel::ready(host)), false);
    EXPECT_EQ(host.asked.method + " " + host.asked.url, "GET http://127.0.0.1:11434/api/tags");
    EXPECT_EQ(host.asked.timeout, std::chrono::seconds{2});
}

TEST(ModelsFolder, HasOneRoot) {
    EXPECT_EQ(ModelsFolder::namingBinary("/a b"), "/a b/Larkmoor/models/naming/runtime/ollama");
    EXPECT_EQ(ModelsFolder::namingStore("/s"), "/s/Larkmoor/models/naming/store");
    EXPECT_EQ(ModelsFolder::speech("/s"), "/s/Larkmoor/models/speech");
    EXPECT_EQ(ModelsFolder::voices("/s"), "/s/Larkmoor/models/voices");
}

}  // namespace
}  // namespace larkmoor
