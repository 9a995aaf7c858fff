#include "LarkmoorKit/Models/LocalModelsProgress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <limits>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor {

namespace {

using Row = LocalModelsProgress::Row;

bool isDone(const Row& row) { return row.state == Row::done; }

/// The file is not ours alone: its numbers may be any.
Int saturatingSum(Int left, Int right) {
    Int sum = 0;
    if (!__builtin_add_overflow(left, right, &sum)) return sum;
    return right < 0 ? std::numeric_limits<Int>::min() : std::numeric_limits<Int>::max();
}

}  // namespace

std::optional<Int> LocalModelsProgress::knownTotalBytes() const {
    if (downloadsDone().all == 0) return std::nullopt;
    Int sum = 0;
    for (const Row& row : movedRows()) sum = saturatingSum(sum, row.totalBytes.value_or(0));
    return sum;
}

Int LocalModelsProgress::downloadedBytes() const {
    Int sum = 0;
    for (const Row& row : movedRows()) {
        const Int moved = row.bytes.value_or(0);
        sum = saturatingSum(sum, isDone(row) ? row.totalBytes.value_or(moved) : moved);
    }
    return sum;
}

std::optional<Int> LocalModelsProgress::footprintBytes() const {
    std::optional<Int> sum;
    for (const Row& row : downloadRows()) {
        if (row.totalBytes) sum = saturatingSum(sum.value_or(0), *row.totalBytes);
    }
    return sum;
}

LocalModelsProgress::Count LocalModelsProgress::downloadsDone() const {
    Count count;
    for (const Row& row : downloadRows()) {
        ++count.all;
        if (isDone(row)) ++count.done;
    }
    return count;
}

bool LocalModelsProgress::allDownloadsDone() const {
    const Count count = downloadsDone();
    return count.all > 0 && count.done == count.all;
}

bool LocalModelsProgress::allStepsDone() const { return !rows.empty() && std::ranges::all_of(rows, isDone); }

bool LocalModelsProgress::stepsDone(const std::optional<LocalModelsProgress>& progress) {
    return progress.has_value() && progress->allStepsDone();
}

bool LocalModelsProgress::isAlive(std::int32_t pid) {
    // Numbers below 1 stand for groups of processes.
    return pid >= 1 && (::kill(pid, 0) == 0 || errno != ESRCH);
}

std::string LocalModelsProgress::path(std::string_view support) {
    return ClientInstance::supportRoot(support) + "/local-models-progress.json";
}

std::string LocalModelsProgress::defaultPath() { return path(ModelsFolder::defaultSupport()); }

std::expected<LocalModelsProgress, CodingFailure> LocalModelsProgress::decoded(BytesView bytes) {
    return Decoder::decode<LocalModelsProgress>(bytes, Strictness::strict);
}

std::expected<Bytes, CodingFailure> LocalModelsProgress::encoded() const { return Encoder::encode(*this); }

std::optional<LocalModelsProgress> LocalModelsProgress::read(const std::string& path) {
    const auto bytes = Files::read(path, maxBytes);
    if (!bytes) return std::nullopt;
    auto progress = decoded(*bytes);
    return progress ? std::optional{*std::move(progress)} : std::nullopt;
}

void LocalModelsProgress::write(const std::string& path) const {
    const auto bytes = encoded();
    if (!bytes) return;
    (void)Files::makeFolders(std::filesystem::path{path}.parent_path().string(), ClientStoreMode::folder);
    const std::string temporary = fmt::format("{}.{}.tmp", path, ::getpid());
    auto created = Files::create(temporary, *bytes, ClientStoreMode::file);
    if (!created && created.error().code == EEXIST) {
        // A process that had our number was killed before its rename; no living one has it.
        ::unlink(temporary.c_str());
        created = Files::create(temporary, *bytes, ClientStoreMode::file);
    }
    if (created && std::rename(temporary.c_str(), path.c_str()) != 0) ::unlink(temporary.c_str());
}

void LocalModelsProgress::sweepTemporaries(const std::string& path) {
    const std::filesystem::path file{path};
    const std::string beginning = file.filename().string() + ".";
    for (const std::string& name : Files::names(file.parent_path().string()).value_or(std::vector<std::string>{})) {
        if (!name.starts_with(beginning)) continue;
        std::int32_t pid = 0;
        const char* end = name.data() + name.size();
        const auto [last, failed] = std::from_chars(name.data() + beginning.size(), end, pid);
        if (failed != std::errc{} || std::string_view{last, end} != ".tmp" || isAlive(pid)) continue;
        ::unlink((file.parent_path() / name).c_str());
    }
}

}  // namespace larkmoor
