#include "LarkmoorLocalModels/Pull/PullOnce.h"

#include <fmt/format.h>

#include <chrono>
#include <map>
#include <utility>

#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorLocalModels/Pipeline/SetupTelemetry.h"
#include "LarkmoorLocalModels/Pull/PullLines.h"
#include "LarkmoorPlatform/HTTPClient.h"

namespace larkmoor {

namespace {

using SetupTelemetry::Seconds;
using Clock = std::chrono::steady_clock;

/// What is heard of one download, with its lines for the log.
class Pull {
  public:
    Pull(TransferListener progress, SetupLogger log) : progress_(std::move(progress)), log_(std::move(log)) {}

    bool onHead(const HTTPHead& head) {
        constexpr int ok = 200;
        const std::int64_t length = head.contentLength.value_or(-1);
        log_(fmt::format("telemetry model response host={} status={} elapsed={:.2f}s expected-bytes={}", head.host,
                         head.status, elapsed().count(),
                         length < 0 ? fmt::format("unknown({})", length) : fmt::format("{}", length)));
        hasBegun_ = true;
        if (head.status != ok) failure_ = "the model host refused the download request";
        return !failure_;
    }

    bool onPiece(BytesView piece) {
        // For all its lines: asking the clock takes as long as reading one.
        heard_ = Clock::now();
        const auto take = [this](std::string_view text) {
            // The line that tells the throughput is cut.
            return throughput_.isDue(heard_) ? 0 : lines_.readAlike(text, progress_);
        };
        return reader_.read(piece, [this](std::string_view line) { return onLine(line); }, take);
    }

    /// Of the stream, with the failure of its connection.
    std::expected<void, SetupError> onEnd(std::expected<void, HTTPFailure> stream, bool isStopped) {
        if (!failure_ && stream) reader_.finish([this](std::string_view line) { return onLine(line); });
        if (failure_) return std::unexpected(SetupError{*failure_});
        if (!stream) return std::unexpected(SetupError{isStopped ? stream.error().reason : ofHost(stream.error())});
        const std::int64_t bytes = lines_.sums().bytes;
        log_(fmt::format("telemetry model pull-done bytes={} elapsed={:.2f}s rate={}", bytes, elapsed().count(),
                         SetupTelemetry::rate(bytes, elapsed())));
        if (!lines_.isSuccess()) {
            return std::unexpected(SetupError{"the model download ended without finishing — retry"});
        }
        return {};
    }

  private:
    bool onLine(std::string_view line) {
        if (!std::exchange(hasLine_, true)) {
            log_(fmt::format("telemetry model first-byte elapsed={:.2f}s", elapsed().count()));
        }
        if (const auto transfer = lines_.read(line)) progress_(*transfer);
        if (const auto& error = lines_.error()) failure_ = "the model download failed: " + *error;
        if (!failure_ && throughput_.isDue(heard_) && lines_.isUnderstood()) {
            log_(throughput_.line("model", lines_.sums(), heard_));
        }
        return !failure_;
    }

    /// Of a connection on this machine. A mirror is pulled by the same host, so it cannot help against one that does
    /// not answer at all: "offline" is a word by which `ModelPull` knows that.
    std::string ofHost(const HTTPFailure& failure) const {
        return (hasBegun_ ? "the model host broke off: " : "the model host seems to be offline: ") + failure.reason;
    }

    Seconds elapsed() const { return Clock::now() - start_; }

    const TransferListener progress_;
    const SetupLogger log_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point heard_ = start_;  ///< when the last piece came
    SetupTelemetry::Throughput throughput_{start_};
    LineReader reader_;
    PullLines lines_;
    std::optional<std::string> failure_;
    bool hasBegun_ = false;
    bool hasLine_ = false;
};

}  // namespace

Task<std::expected<void, SetupError>> pullOnce(ModelHost host, std::string name, TransferListener progress,
                                               SetupLogger log) {
    const std::string url = host.endpoint + "/api/pull";
    const auto body = Encoder::encode(std::map<std::string, std::string>{{"name", std::move(name)}});
    if (!HTTPAddress::parse(url) || !body) co_return std::unexpected(SetupError{"bad pull endpoint"});
    // No line for the log about a request that is never sent.
    if (host.stop.stop_requested()) co_return std::unexpected(SetupError{"cancelled"});
    log("telemetry model request-start url=" + url);
    Pull pull{std::move(progress), std::move(log)};
    HTTPClient::Listener listener{.head = [&pull](const HTTPHead& head) { return pull.onHead(head); },
                                  .piece = [&pull](BytesView piece) { return pull.onPiece(piece); }};
    auto stream = co_await host.http->stream(
        {.method = "POST", .url = url, .body = std::string{asText(*body)}, .timeout = std::chrono::hours{1}},
        std::move(listener), host.stop);
    co_return pull.onEnd(std::move(stream), host.stop.stop_requested());
}

}  // namespace larkmoor
