#include "LarkmoorMenuApp/Update/Appcast/UpdateProof.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <optional>
#include <utility>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorKit/Archive/Tar.h"
#include "LarkmoorPlatform/PropertyList.h"
#include "LarkmoorUpdate/Feed/Version.h"

namespace larkmoor {

namespace {

namespace fs = std::filesystem;

using Done = std::expected<void, std::string>;
using Staged = std::expected<StagedUpdate, std::string>;

constexpr std::chrono::hours unpackingBudget{1};
constexpr std::chrono::seconds trialBudget{20};
/// Whatever the archive is packed with, tar finds out.
constexpr const char* anyCompression = "";

std::unexpected<std::string> refusal(std::string words) { return std::unexpected{std::move(words)}; }

/// What the bundle says of itself, held against what the feed and we say. The path of its executable.
std::expected<std::string, std::string> checkProduct(const UpdateProof& proof, const std::string& bundle,
                                                     const AppcastItem& item) {
    const auto list = Files::read(bundle + "/Contents/Info.plist");
    if (!list) return refusal(list.error().description());
    const auto text = [&list](std::string_view key) { return PropertyList::textUnder(*list, key).value_or(""); };
    const std::string identifier = text("CFBundleIdentifier"), build = text("CFBundleVersion");
    if (identifier != proof.identifier)
        return refusal(fmt::format("the archive holds another product, {}", identifier));
    if (build != item.versionString) {
        return refusal(fmt::format("the archive holds build {} in place of build {}", build, item.versionString));
    }
    if (compareVersions(build, proof.ourBuild) <= 0) {
        return refusal(fmt::format("the archive holds build {}, which is not above ours, {}", build, proof.ourBuild));
    }
    const std::string executable = text("CFBundleExecutable");
    if (executable.empty() || executable.contains('/')) return refusal("the bundle in the archive names no executable");
    return fmt::format("{}/Contents/MacOS/{}", bundle, executable);
}

Task<Staged> proveBundle(UpdateProof proof, std::string bundle, AppcastItem item, std::stop_token stop) {
    const auto whole = co_await proof.signatures.verifyBundle(bundle, proof.publicKey, stop);
    if (!whole) co_return refusal(whole.error().words);
    const auto executable =
        co_await BlockingWork::run([proof, bundle, item] { return checkProduct(proof, bundle, item); });
    if (!executable) co_return refusal(executable.error());
    if (const Done runs = co_await tryToRun(proof.runner, *executable, stop); !runs) {
        co_return refusal("the update does not run on this machine: " + runs.error());
    }
    const auto identity = Folders::identity(bundle);
    if (!identity) co_return refusal(bundle + ": gone");
    co_return StagedUpdate{.build = item.versionString, .version = item.displayVersionString, .identity = *identity};
}

/// Nothing of another archive may be in it.
Done makeNew(const std::string& folder) {
    if (::mkdir(folder.c_str(), 0700) == 0) return {};
    return refusal(FileError{folder, errno}.description());
}

/// tar's own words are of bytes.
bool isFull(const std::string& folder) {
    constexpr std::uintmax_t nothingFits = 65536;
    std::error_code failed;
    const fs::space_info space = fs::space(folder, failed);
    return !failed && space.available < nothingFits;
}

Task<Done> unpack(UpdateProof proof, UpdatePlaces places, std::stop_token stop) {
    if (auto words = co_await Tar::objection(proof.runner, places.download(), anyCompression, stop)) {
        co_return refusal("the archive is not unpacked: " + *words);
    }
    if (const Done made = makeNew(places.unpacking()); !made) co_return made;
    const ProcessResult result = co_await proof.runner.run(
        {.executable = Tar::program,
         .arguments = Tar::unpacking(places.download(), anyCompression, places.unpacking(), true),
         .environment = Tar::environment(),
         .errors = ProcessOutputs::Captured{},
         .budget = unpackingBudget},
        stop);
    if (result.end == ProcessEnd{ProcessEnds::Exited{0}}) co_return Done{};
    if (isFull(places.folder)) co_return refusal(FileError{places.parent, ENOSPC}.description());
    const std::string_view words = trimmed(asText(result.errors));
    co_return refusal(
        fmt::format("the archive would not unpack: {}", words.empty() ? result.description() : std::string{words}));
}

/// The one bundle that the archive held.
std::expected<std::string, std::string> onlyBundle(const UpdatePlaces& places) {
    const auto names = Files::names(places.unpacking()).value_or(std::vector<std::string>{});
    if (names.size() != 1 || !names[0].ends_with(".app"))
        return refusal("the archive holds something else than one bundle");
    return fmt::format("{}/{}", places.unpacking(), names[0]);
}

/// After a loss of power, too, what has the name of a staged update is a whole one.
Done stage(const UpdatePlaces& places, const std::string& bundle) {
    if (Done synced = Folders::sync(places.folder); !synced) return synced;
    std::error_code failed;
    fs::rename(bundle, places.staged(), failed);
    return failed ? Done{refusal(FileError{places.staged(), failed.value()}.description())} : Done{};
}

}  // namespace

Task<Done> tryToRun(ProcessRunner& runner, std::string executable, std::stop_token stop) {
    const ProcessResult result = co_await runner.run({.executable = std::move(executable),
                                                      .arguments = {"--version"},
                                                      .errors = ProcessOutputs::Captured{},
                                                      .budget = trialBudget},
                                                     stop);
    if (result.end == ProcessEnd{ProcessEnds::Exited{0}}) co_return Done{};
    const std::string_view words = trimmed(asText(result.errors));
    co_return refusal(words.empty() ? result.description() : std::string{words});
}

Task<Done> proveArchive(UpdateProof proof, std::string archive, AppcastItem item, std::stop_token stop) {
    std::error_code failed;
    const auto length = fs::file_size(archive, failed);
    if (failed) co_return refusal(FileError{archive, failed.value()}.description());
    if (item.length && *item.length > 0 && *item.length != length) {
        co_return refusal(fmt::format("{} bytes came in place of {}", length, *item.length));
    }
    if (!item.signature) co_return refusal("the feed tells no signature of the archive");
    co_return co_await proof.signatures.verifyArchive(archive, proof.publicKey, *item.signature, stop);
}

Task<Staged> unpackAndStage(UpdateProof proof, UpdatePlaces places, AppcastItem item, std::stop_token stop) {
    if (const Done unpacked = co_await unpack(proof, places, stop); !unpacked) co_return refusal(unpacked.error());
    const auto bundle = co_await BlockingWork::run([places] { return onlyBundle(places); });
    if (!bundle) co_return refusal(bundle.error());
    auto proven = co_await proveBundle(proof, *bundle, std::move(item), stop);
    if (!proven) co_return proven;
    const Done staged = co_await BlockingWork::run([places, path = *bundle] { return stage(places, path); });
    if (!staged) co_return refusal(staged.error());
    co_return proven;
}

Task<Staged> proveStaged(UpdateProof proof, UpdatePlaces places, AppcastItem item, std::stop_token stop) {
    if (BundleExchange::buildOf(places.staged()) != item.versionString) co_return refusal("another build, or none");
    co_return co_await proveBundle(std::move(proof), places.staged(), std::move(item), std::move(stop));
}

}  // namespace larkmoor
