// The verbs that ask the model host.
#include <fmt/format.h>
#include <unistd.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/signal_set.hpp>

#include <csignal>
#include <exception>
#include <stop_token>
#include <utility>

#include "Command.h"
#include "JSONText.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorLocalModels/Pull/ModelPull.h"
#include "LarkmoorLocalModels/Runtime/ModelHost.h"
#include "LarkmoorLocalModels/Store/ByteCount.h"
#include "LarkmoorPlatform/Linux/HTTP/LoopbackHTTPClient.h"

namespace larkmoor::models {

namespace {

/// A loop for one task, which SIGINT and SIGTERM stop.
class Asking {
  public:
    explicit Asking(const Arguments& arguments) {
        if (!arguments.host.empty()) host_.endpoint = "http://" + arguments.host;
        signals_.async_wait([this](const boost::system::error_code& failed, int) {
            if (!failed) stop_.request_stop();
        });
    }

    const ModelHost& host() const { return host_; }
    bool isStopped() const { return stop_.stop_requested(); }

    template <class T>
    T run(Task<T> task) {
        T result{};
        boost::asio::co_spawn(loop_, std::move(task), [&](const std::exception_ptr& escaped, T value) {
            if (escaped) std::rethrow_exception(escaped);
            result = std::move(value);
            loop_.stop();
        });
        loop_.run();
        return result;
    }

  private:
    MainLoop loop_{1};
    LoopbackHTTPClient http_{loop_};
    boost::asio::basic_signal_set<MainLoop::executor_type> signals_{loop_, SIGINT, SIGTERM};
    std::stop_source stop_;
    ModelHost host_{.http = &http_, .stop = stop_.get_token()};
};

void print(int descriptor, const std::string& line) {
    // A reader that is gone must not end a download.
    (void)Files::writeAll(descriptor, asBytes(line + "\n"), "output");
}

std::string progressLine(const Transfer& transfer, bool json) {
    const std::int64_t total = transfer.total.value_or(0);
    if (json) return fmt::format(R"({{"bytes":{},"total":{}}})", transfer.bytes, total);
    return fmt::format("{} of {}", ByteCount::label(transfer.bytes), ByteCount::label(total));
}

std::string_view name(const ModelPull::Outcome& outcome) {
    return outcome.visit([](const ModelPull::Outcome::Pulled& end) { return end.wireName; },
                         [](const ModelPull::Outcome::Mirrored& end) { return end.wireName; },
                         [](const ModelPull::Outcome::Failed& end) { return rawText(end._0); });
}

}  // namespace

Outcome tags(const Arguments& arguments) {
    Asking asking{arguments};
    const auto names = asking.run(hostTags(asking.host()));
    if (arguments.json) return {.output = jsonText(names) + "\n"};
    if (!names) return {.status = Outcome::failed, .errors = "the model host does not tell its models"};
    std::string lines;
    for (const std::string& each : *names) lines += each + "\n";
    return {.output = lines};
}

Outcome ping(const Arguments& arguments) {
    Asking asking{arguments};
    return {.output = asking.run(pingModel(asking.host(), arguments.words[0])) ? "true\n" : "false\n"};
}

Outcome pull(const Arguments& arguments) {
    Asking asking{arguments};
    const auto progress = [json = arguments.json](const Transfer& transfer) {
        print(STDOUT_FILENO, progressLine(transfer, json));
    };
    const auto log = [isShown = arguments.verbose](const std::string& line) {
        if (isShown) print(STDERR_FILENO, line);
    };
    ModelPull modelPull{ModelPull::live(asking.host(), progress, log)};
    const ModelPull::Outcome outcome = asking.run(modelPull.run());
    const std::string_view word = name(outcome);
    Outcome result{.output =
                       arguments.json ? fmt::format("{{\"outcome\":\"{}\"}}\n", word) : fmt::format("{}\n", word)};
    if (const auto* failed = outcome.as<ModelPull::Outcome::Failed>()) {
        result.status = Outcome::failed;
        result.errors = asking.isStopped() ? "cancelled" : ModelPull::words(failed->_0);
    }
    return result;
}

}  // namespace larkmoor::models
