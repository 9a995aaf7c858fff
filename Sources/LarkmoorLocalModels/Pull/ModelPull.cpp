#include "LarkmoorLocalModels/Pull/ModelPull.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "LarkmoorBase/Text.h"

namespace larkmoor {

namespace {

/// What the host says when it is the machine that reaches nothing, not the registry that refuses.
constexpr std::array<std::string_view, 9> networkPhrases{
    "no such host",     "connection refused",    "network is unreachable",
    "no route to host", "i/o timeout",           "context deadline exceeded",
    "dial tcp",         "tls handshake timeout", "offline",
};

Task<std::optional<std::string>> pullForWords(ModelHost host, std::string name, TransferListener progress,
                                              SetupLogger log) {
    auto pulled = co_await pullOnce(std::move(host), std::move(name), std::move(progress), std::move(log));
    co_return pulled ? std::nullopt : std::optional{std::move(pulled.error().message)};
}

}  // namespace

ModelPull::Seams ModelPull::live(const ModelHost& host, const TransferListener& progress, const SetupLogger& log) {
    return {.pull = [=](std::string name) { return pullForWords(host, std::move(name), progress, log); },
            .copy =
                [=](std::string source, std::string destination) {
                    return post(host, "/api/copy",
                                {{"source", std::move(source)}, {"destination", std::move(destination)}});
                },
            .ping = [=](std::string name) { return pingModel(host, std::move(name)); },
            .remove =
                [=](std::string name) {
                    ModelHost asked = host;
                    // Whoever removes after a stop clears up behind it.
                    if (asked.stop.stop_requested()) asked.stop = {};
                    return post(std::move(asked), "/api/delete", {{"name", std::move(name)}});
                },
            .log = log,
            .stop = host.stop};
}

PullFailure ModelPull::classify(std::string_view text) {
    const std::string lower = lowercased(std::string{text});
    const bool isNetwork =
        std::ranges::any_of(networkPhrases, [&lower](std::string_view phrase) { return lower.contains(phrase); });
    return isNetwork ? PullFailure::network : PullFailure::registry;
}

std::string_view ModelPull::words(PullFailure failure) {
    switch (failure) {
        case PullFailure::network:
            return "the model download could not reach the network — retry";
        case PullFailure::registry:
            return "the model download failed at both the registry and the mirror — retry";
    }
    return {};
}

Task<ModelPull::Outcome> ModelPull::run() {
    const auto error = co_await seams_.pull(std::string{LocalModel::titleModel});
    if (!error) co_return Outcome::Pulled{};
    if (classify(*error) == PullFailure::network) {
        seams_.log(fmt::format(
            "model-pull: this Mac has no network ({}) — no mirror can help; retrying at the next open", *error));
        co_return Outcome::Failed{PullFailure::network};
    }
    seams_.log(fmt::format("model-pull: the registry refused ({}) — trying the Hugging Face mirror", *error));
    co_return co_await pullFromMirror();
}

Task<ModelPull::Outcome> ModelPull::pullFromMirror() {
    const std::string mirror{mirrorModel};
    if (const auto error = co_await seams_.pull(mirror)) {
        seams_.log(fmt::format("model-pull: the mirror refused too ({}) — retrying at the next open", *error));
        co_return Outcome::Failed{PullFailure::registry};
    }
    const bool isRenamed = co_await renameMirrored();
    // The two share their layers: if this fails, a name remains.
    const bool isRemoved = isRenamed && co_await seams_.remove(mirror);
    // What undoes a cancelled setup knows the model by its own name alone.
    if (!isRemoved && seams_.stop.stop_requested()) (void)co_await seams_.remove(mirror);
    if (!isRenamed) co_return Outcome::Failed{PullFailure::registry};
    seams_.log(
        fmt::format("model-pull: pulled from the Hugging Face mirror and renamed to {}", LocalModel::titleModel));
    co_return Outcome::Mirrored{};
}

/// False where the copy is not proven: then the mirror's model stays.
Task<bool> ModelPull::renameMirrored() {
    const std::string title{LocalModel::titleModel}, mirror{mirrorModel};
    if (!co_await seams_.copy(mirror, title)) {
        seams_.log(fmt::format("model-pull: the mirror's model could not be renamed to {}", title));
        co_return false;
    }
    if (!co_await seams_.ping(title)) {
        seams_.log(fmt::format("model-pull: the copy did not answer — keeping {} as well", mirror));
        co_return false;
    }
    co_return true;
}

Task<std::expected<void, SetupError>> pullModel(ModelHost host, TransferListener progress, SetupLogger log) {
    ModelPull pull{ModelPull::live(host, progress, log)};
    const ModelPull::Outcome outcome = co_await pull.run();
    const auto* failed = outcome.as<ModelPull::Outcome::Failed>();
    if (failed == nullptr) co_return std::expected<void, SetupError>{};
    co_return std::unexpected(SetupError{std::string{ModelPull::words(failed->_0)}});
}

}  // namespace larkmoor
