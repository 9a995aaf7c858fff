#include "LarkmoorLocalModels/Runtime/ModelHost.h"

#include <fmt/format.h>

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/this_coro.hpp>

#include <chrono>
#include <memory>
#include <utility>

#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorBase/JSON/FlatDocument.h"
#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/HTTPClient.h"

namespace larkmoor {

namespace {

using namespace std::chrono_literals;
constexpr int ok = 200;

/// Ends early when it is stopped.
Task<void> pause(std::chrono::milliseconds length, std::stop_token stop) {
    const auto executor = co_await boost::asio::this_coro::executor;
    const auto timer = std::make_shared<MainTimer>(executor, length);
    const std::stop_callback onStop{stop,
                                    [executor, timer] { boost::asio::post(executor, [timer] { timer->cancel(); }); }};
    boost::system::error_code cancelled;
    if (!stop.stop_requested()) co_await timer->async_wait(boost::asio::redirect_error(awaiting, cancelled));
}

/// An answer that tells an error is none, whatever else it holds.
bool hasResponse(BytesView answer) {
    FlatDocument document;
    if (!document.parse(answer)) return false;
    const FlatNode* response = document.root().member("response");
    return response != nullptr && response->kind == FlatNode::Kind::string &&
           document.root().member("error") == nullptr;
}

}  // namespace

Task<bool> hostAnswers(ModelHost host) {
    const auto answer = co_await host.http->send({.url = host.endpoint + "/api/tags", .timeout = 2s}, host.stop);
    co_return answer && answer->head.status == ok;
}

Task<bool> waitForHost(ModelHost host, int seconds) {
    for (int round = 0; round < seconds && !host.stop.stop_requested(); ++round) {
        if (co_await hostAnswers(host)) co_return true;
        co_await pause(1s, host.stop);
    }
    co_return false;
}

Task<std::optional<std::vector<std::string>>> hostTags(ModelHost host) {
    return LocalModel::askNames(*host.http, std::move(host.endpoint), std::move(host.stop));
}

Task<bool> pingModel(ModelHost host, std::string name) {
    const auto quoted = Encoder::encode(name);
    if (!quoted) co_return false;
    std::string body =
        fmt::format(R"({{"model":{},"prompt":"ping","stream":false,"keep_alive":300,"options":{{"num_predict":1}}}})",
                    asText(*quoted));
    const auto answer = co_await host.http->send(
        {.method = "POST", .url = host.endpoint + "/api/generate", .body = std::move(body), .timeout = 120s},
        host.stop);
    co_return answer && answer->head.status == ok&& hasResponse(answer->body);
}

Task<bool> post(ModelHost host, std::string path, std::map<std::string, std::string> body) {
    constexpr int successes = 2;
    const auto document = Encoder::encode(body);
    if (!document) co_return false;
    const auto answer = co_await host.http->send({.method = path == "/api/delete" ? "DELETE" : "POST",
                                                  .url = host.endpoint + path,
                                                  .body = std::string{asText(*document)},
                                                  .timeout = 60s},
                                                 host.stop);
    co_return answer && answer->head.status / 100 == successes;
}

}  // namespace larkmoor
