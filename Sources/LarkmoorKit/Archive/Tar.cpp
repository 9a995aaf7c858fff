#include "LarkmoorKit/Archive/Tar.h"

#include <algorithm>
#include <memory>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorKit/Archive/ArchiveListing.h"

namespace larkmoor::Tar {

namespace {

/// A hostile archive takes no longer than this to be refused.
constexpr std::chrono::minutes listingBudget{10};

std::vector<std::string> arguments(const std::string& compression, std::vector<std::string> rest) {
    std::vector<std::string> all(std::begin(ArchiveListing::tarOptions), std::end(ArchiveListing::tarOptions));
    if (!compression.empty()) all.push_back(compression);
    all.insert(all.end(), std::make_move_iterator(rest.begin()), std::make_move_iterator(rest.end()));
    return all;
}

/// tar takes as much memory as an archive claims to need for one name: what claims more than 256 MiB is not listed.
std::vector<std::string> listing(const std::string& archive, const std::string& compression) {
    std::vector<std::string> words = arguments(compression, {"-tvf", archive});
    words.insert(words.begin(), {"-c", "ulimit -v 262144 && exec \"$0\" \"$@\"", program});
    return words;
}

/// tar's list of the archive, as long as it is of a bearable length; the rest is not waited for.
struct Listed {
    std::string text{};
    std::size_t lines = 0;
    std::stop_source enough{};

    void hear(BytesView piece, const ArchiveListing::Limits& limits) {
        if (enough.stop_requested()) return;
        text += asText(piece);
        lines += static_cast<std::size_t>(std::ranges::count(asText(piece), '\n'));
        if (text.size() > limits.listingBytes || lines > limits.entries) enough.request_stop();
    }
};

}  // namespace

ProcessEnvironment environment() {
    return {.changes = {{"LC_ALL", "C"},
                        {"TAR_OPTIONS", std::nullopt},
                        {"GZIP", std::nullopt},
                        {"XZ_OPT", std::nullopt},
                        {"XZ_DEFAULTS", std::nullopt}}};
}

Task<std::optional<std::string>> objection(ProcessRunner& runner, std::string archive, std::string compression,
                                           std::stop_token stop) {
    const auto listed = std::make_shared<Listed>();
    const ArchiveListing::Limits limits;
    const std::stop_callback onStop{stop, [listed] { listed->enough.request_stop(); }};
    const ProcessResult result = co_await runner.run(
        {.executable = "/bin/sh",
         .arguments = listing(archive, compression),
         .environment = environment(),
         .output = ProcessOutputs::Streamed{[listed, limits](BytesView piece) { listed->hear(piece, limits); }},
         .errors = ProcessOutputs::Captured{},
         .budget = listingBudget},
        listed->enough.get_token());
    if (stop.stop_requested()) co_return "cancelled";
    auto words =
        co_await BlockingWork::run([listed, limits] { return ArchiveListing::objection(listed->text, limits); });
    // What a broken archive begins with is not to be objected to: tar has the better words.
    if (!(result.end == ProcessEnd{ProcessEnds::Exited{0}}) && !listed->enough.stop_requested()) {
        const std::string_view told = trimmed(asText(result.errors));
        co_return told.empty() ? result.description() : std::string{told};
    }
    co_return words;
}

std::vector<std::string> unpacking(const std::string& archive, const std::string& compression,
                                   const std::string& folder, bool keepsModes) {
    return arguments(compression, {"-xf", archive, "-C", folder, "--no-same-owner",
                                   keepsModes ? "--same-permissions" : "--no-same-permissions"});
}

}  // namespace larkmoor::Tar
