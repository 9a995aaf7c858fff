#include "LarkmoorLocalModels/Runtime/ManagedRuntime.h"

#include <fmt/format.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <boost/asio/this_coro.hpp>

#include <chrono>
#include <filesystem>
#include <memory>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorLocalModels/Pipeline/SetupTelemetry.h"
#include "LarkmoorLocalModels/Runtime/RuntimeArchive.h"
#include "LarkmoorLocalModels/Runtime/RuntimePartials.h"
#include "LarkmoorLocalModels/Runtime/RuntimeProof.h"
#include "LarkmoorPlatform/Spawn.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor {

namespace {

using Clock = std::chrono::steady_clock;
using Done = std::expected<void, SetupError>;

constexpr std::int64_t maxArchiveBytes = std::int64_t{8} << 30;

/// "{elapsed}s" since the start, for the log.
std::string since(Clock::time_point start) {
    return fmt::format("{:.2f}s", SetupTelemetry::Seconds{Clock::now() - start}.count());
}

/// One download of the archive, as the setup log tells it.
class Download : public std::enable_shared_from_this<Download> {
  public:
    Download(MainLoop& loop, RuntimeSetup setup, TransferListener progress)
        : loop_(loop), setup_(std::move(setup)), progress_(std::move(progress)) {}

    /// The partial file is whole after it.
    Task<Done> run(std::string partial) {
        setup_.log("telemetry runtime request-start url=" + setup_.release.url);
        const auto end = co_await setup_.fetch->fetch(
            {.url = setup_.release.url, .target = FetchTargets::NewFile{partial}, .maxBytes = maxArchiveBytes},
            listener(), setup_.stop);
        if (head_ && head_->status != okay) {
            co_return std::unexpected(SetupError{"the runtime download was refused — check your connection and retry"});
        }
        if (!end) co_return std::unexpected(SetupError{end.error().reason});
        setup_.log(fmt::format("telemetry runtime download-done bytes={} elapsed={} rate={}", *end, since(start_),
                               SetupTelemetry::rate(*end, Clock::now() - start_)));
        co_return Done{};
    }

  private:
    static constexpr int okay = 200;

    FetchListener listener() {
        return {.head = [self = shared_from_this()](const FetchHead& head) { self->takeHead(head); },
                .firstByte =
                    [self = shared_from_this()] {
                        self->setup_.log("telemetry runtime first-byte elapsed=" + since(self->start_));
                    },
                .progress = [self = shared_from_this()](std::int64_t bytes) { self->takeProgress(bytes); }};
    }

    void takeHead(const FetchHead& head) {
        head_ = head;
        setup_.log(fmt::format("telemetry runtime response host={} status={} elapsed={} expected-bytes={}",
                               head.host.empty() ? "?" : head.host, head.status, since(start_),
                               head.length ? std::to_string(*head.length) : "unknown(-1)"));
        if (head.status != okay) return;
        // Nobody waits for it: the partial of this process is none that it deletes.
        spawn(loop_, weak_from_this(), [](Download& self) {
            return BlockingWork::run([folder = self.setup_.places.temporaryFolder, log = self.setup_.log] {
                sweepStrayTarballs(folder, log);
            });
        });
    }

    void takeProgress(std::int64_t bytes) {
        const auto length = head_ ? head_->length : std::nullopt;
        const Transfer transfer{.bytes = bytes, .total = length && *length > 0 ? length : std::nullopt};
        if (progress_) progress_(transfer);
        const auto now = Clock::now();
        if (throughput_.isDue(now)) setup_.log(throughput_.line("runtime", transfer, now));
    }

    MainLoop& loop_;
    const RuntimeSetup setup_;
    const TransferListener progress_;
    const Clock::time_point start_ = Clock::now();
    SetupTelemetry::Throughput throughput_{start_};
    std::optional<FetchHead> head_;
};

/// Of what was unpacked; a binary that fails is deleted.
Done prove(const std::string& binary) {
    if (!Files::isExecutable(binary)) {
        return std::unexpected(SetupError{"the unpacked runtime is missing its binary"});
    }
    if (const auto proven = RuntimeProof::check(binary); !proven) {
        ::unlink(binary.c_str());
        return std::unexpected(
            SetupError{fmt::format("the downloaded runtime failed its signature check ({})", proven.error())});
    }
    return {};
}

std::optional<std::string> firstTrusted(const RuntimeSetup& setup) {
    for (const std::string& path : setup.places.ourBinaries) {
        if (!Files::isExecutable(path)) continue;
        if (binaryVerifies(path)) {
            // A fetch that was killed behind its last step leaves its archive, and no fetch will follow it.
            sweepStrayTarballs(setup.places.temporaryFolder, setup.log);
            return path;
        }
        setup.log(
            fmt::format("model-setup: the managed runtime at {} did not verify (a killed fetch leaves one behind) — "
                        "deleting it and fetching again",
                        path));
        ::unlink(path.c_str());
    }
    const auto users = std::ranges::find_if(setup.places.usersBinaries, Files::isExecutable);
    return users != setup.places.usersBinaries.end() ? std::optional{*users} : std::nullopt;
}

Task<Done> install(RuntimeSetup setup, std::string partial) {
    const auto unpacking = Clock::now();
    const std::string binary = setup.places.managed();
    auto done = co_await unpackPinned(*setup.runner, partial, binary, setup.release, setup.stop);
    if (!done) co_return done;
    setup.log("telemetry runtime unpack-done elapsed=" + since(unpacking));
    const auto verifying = Clock::now();
    done = co_await BlockingWork::run([binary, partial] {
        ::unlink(partial.c_str());
        return prove(binary);
    });
    if (!done) co_return done;
    setup.log("telemetry runtime verify-done elapsed=" + since(verifying));
    // It may not be there, and only a proven binary loses it.
    static_cast<void>(::removexattr(binary.c_str(), "user.com.apple.quarantine"));
    co_return Done{};
}

}  // namespace

RuntimePlaces RuntimePlaces::of(std::string_view support) {
    std::error_code failed;
    const auto temporary = std::filesystem::temp_directory_path(failed);
    return {.ourBinaries = {ModelsFolder::namingBinary(support),
                            fmt::format("{}/{}/ollama/ollama", support, ClientInstance::supportDirName)},
            .usersBinaries = {"/opt/homebrew/bin/ollama", "/usr/local/bin/ollama",
                              "/Applications/Ollama.app/Contents/Resources/ollama"},
            .temporaryFolder = failed ? "/tmp" : temporary.string()};
}

Task<std::optional<std::string>> findTrustedRuntime(RuntimeSetup setup) {
    co_return co_await BlockingWork::run([setup] { return firstTrusted(setup); });
}

Task<std::expected<std::string, SetupError>> fetchRuntime(RuntimeSetup setup, TransferListener progress) {
    if (setup.release.fingerprint.empty()) {
        co_return std::unexpected(
            SetupError{"this build has no pinned fingerprint of a runtime, so none is downloaded"});
    }
    auto done = co_await BlockingWork::run(
        [binary = setup.places.managed(), release = setup.release] { return mayUnpack(binary, release); });
    if (!done) co_return std::unexpected(std::move(done.error()));
    const auto executor = co_await boost::asio::this_coro::executor;
    const std::string partial = setup.places.temporaryFolder + "/" + partialName(::getpid());
    const auto download = std::make_shared<Download>(executor.context(), setup, std::move(progress));
    done = co_await download->run(partial);
    if (done) done = co_await install(setup, partial);
    co_await BlockingWork::run([partial] { ::unlink(partial.c_str()); });
    if (!done) co_return std::unexpected(std::move(done.error()));
    co_return setup.places.managed();
}

}  // namespace larkmoor
