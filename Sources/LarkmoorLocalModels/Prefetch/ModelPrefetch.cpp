#include "LarkmoorLocalModels/Prefetch/ModelPrefetch.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <utility>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorLocalModels/Pull/PullLines.h"
#include "LarkmoorResources/ResourceBundle.h"
#include "LarkmoorResources/SenkoSeed.h"
#include "LarkmoorWire/Models/MeetingModels.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor::ModelPrefetch {

namespace {

/// A download of 443 MB at 22 KB/s takes as long; a helper that still runs then hangs. Waking time only, and a quit or
/// a cancel does not wait for it.
constexpr auto budget = std::chrono::hours{6};

/// A few of the helper's lines, each of which may write the progress file: the menu stays alive under a flood of them,
/// and a helper that is faster waits.
constexpr std::size_t maxBytesPerTurn = 512;

Task<std::optional<std::string>> found(std::optional<std::string> bundle) {
    co_return bundle ? helper(*bundle) : std::nullopt;
}

Task<PrefetchSeams::Seeding> seedOffTheMainThread(std::string helper, std::string dest) {
    co_return co_await BlockingWork::run(
        [helper = std::move(helper), dest = std::move(dest)] { return seedSenko(helper, dest); });
}

}  // namespace

PrefetchSeams live(ProcessRunner& runner, std::optional<std::string> bundle, std::string home, std::string support) {
    return {.prefetchHelper = [bundle = std::move(bundle)] { return found(bundle); },
            .prefetchRunner =
                [&runner, home = std::move(home), support](std::string binary, PrefetchSeams::Listener onLine,
                                                           std::stop_token stop) {
                    return run(runner, {.binary = std::move(binary), .home = home, .support = support},
                               std::move(onLine), std::move(stop));
                },
            .senkoSeeder = [dest = senkoFolder(support)](
                               std::string helper) { return seedOffTheMainThread(std::move(helper), dest); }};
}

std::optional<std::string> helper(const std::string& bundle) {
    std::string path = bundle + "/Contents/Library/Larkmoor.app/Contents/MacOS/larkmoor-transcribe";
    std::error_code ignored;
    const bool isProgram = std::filesystem::is_regular_file(path, ignored) && ::access(path.c_str(), X_OK) == 0;
    return isProgram ? std::optional{std::move(path)} : std::nullopt;
}

Task<std::optional<std::int32_t>> run(ProcessRunner& runner, Command command, PrefetchSeams::Listener onLine,
                                      std::stop_token stop) {
    if (::access(command.binary.c_str(), X_OK) != 0) co_return std::nullopt;
    const auto lines = std::make_shared<LineReader>();
    const LineReader::Listener listener = [onLine = std::move(onLine)](std::string_view line) {
        onLine(line);
        return true;
    };
    const auto read = [lines, listener](BytesView piece) { lines->read(piece, listener); };
    // Without it a helper that says nothing would outlive us, and go on downloading behind the next pass or a cancel.
    ProcessRequest request{
        .executable = "/usr/bin/setpriv",
        .arguments = {"--pdeathsig", "KILL", command.binary, "prefetch", "--models", senkoFolder(command.support),
                      "--asr-models", ModelsFolder::speech(command.support)},
        .environment = {.isInherited = false, .changes = {{"PATH", "/usr/bin:/bin"}, {"HOME", command.home}}},
        .output = ProcessOutputs::Streamed{.listener = read, .maxBytesPerTurn = maxBytesPerTurn},
        .budget = budget};
    const ProcessResult result = co_await runner.run(std::move(request), std::move(stop));
    lines->finish(listener);
    if (std::holds_alternative<ProcessEnds::NotStarted>(result.end)) co_return std::nullopt;
    co_return result.status();
}

PrefetchSeams::Seeding seedSenko(const std::string& besideHelper, const std::string& dest) {
    const auto resources = ResourceBundle::appResources(besideHelper);
    if (!resources) {
        return {fmt::format("no app bundle around {} — nothing to seed from (dev run)", besideHelper), false};
    }
    using Seeding = PrefetchSeams::Seeding;
    using Outcome = SenkoSeed::OutcomeCases;
    return SenkoSeed::seed(fmt::format("{}/{}", *resources, MeetingModels::senkoName), dest)
        .visit(
            [&](const Outcome::Seeded& seeded) {
                return Seeding{fmt::format("seeded {} file(s), {} bytes from the bundle → {} (byte-verified)",
                                           seeded.files, seeded.bytes, dest),
                               true};
            },
            [](const Outcome::BundleMissing& missing) {
                return Seeding{
                    fmt::format("no staged models at {} — dir left as-is; the helper's check answers for "
                                "itself",
                                missing.path)};
            },
            [](const Outcome::Failed& failed) {
                return Seeding{
                    fmt::format("seed did not land ({}) — dir left whole-or-absent; the helper's check "
                                "answers for itself",
                                failed.why)};
            },
            [&](const Outcome::Present&) {
                return Seeding{fmt::format("{} already has models — untouched (the refusal law)", dest)};
            });
}

std::string senkoFolder(std::string_view support) {
    return fmt::format("{}/{}", ModelsFolder::voices(support), MeetingModels::senkoName);
}

}  // namespace larkmoor::ModelPrefetch
