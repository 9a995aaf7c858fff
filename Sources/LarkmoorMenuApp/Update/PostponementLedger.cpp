#include "LarkmoorMenuApp/Update/PostponementLedger.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "LarkmoorBase/DurableFiles.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor {

namespace {

bool holds(const std::vector<PostponedUpdate::Record>& records, std::string_view version) {
    return std::ranges::find(records, version, &PostponedUpdate::Record::version) != records.end();
}

}  // namespace

PostponementLedger::PostponementLedger(const std::string& folder)
    : path_(folder + "/" + std::string{PostponedUpdate::fileName}) {}

std::vector<PostponementLedger::Record> PostponementLedger::onDiskRecords() const {
    const auto content = Files::read(path_);
    return content ? PostponedUpdate::records(*content) : std::vector<Record>{};
}

std::vector<PostponementLedger::Record> PostponementLedger::records() const {
    const std::vector<Record> onDisk = onDiskRecords();
    std::vector<Record> all = onDisk;
    const std::lock_guard lock{mutex_};
    for (const Record& record : unwritten_) {
        if (!holds(onDisk, record.version)) all.push_back(record);
    }
    hasRecords_ = !all.empty();
    return all;
}

std::optional<PostponementLedger::Record> PostponementLedger::record() const {
    auto all = records();
    return all.empty() ? std::nullopt : std::optional{std::move(all.back())};
}

bool PostponementLedger::postponed(std::string_view version) const { return holds(records(), version); }

std::optional<std::string> PostponementLedger::sentence() const {
    return hasRecords_ ? std::optional<std::string>{MigrationWords::postponedForGood} : std::nullopt;
}

MarkerWrite PostponementLedger::settle(const MigrationVerdict& verdict, std::string_view build) {
    MarkerWrite written = settled(verdict, build);
    static_cast<void>(records());
    return written;
}

MarkerWrite PostponementLedger::settled(const MigrationVerdict& verdict, std::string_view build) {
    if (const auto* forever = verdict.as<MigrationVerdict::PostponeForever>()) return writeOnce(forever->record);
    if (!verdict.is<MigrationVerdict::Green>()) return MarkerWrite::NotEarned{};
    forget(build);
    auto left = onDiskRecords();
    if (std::erase_if(left, [&](const Record& record) { return record.version == build; }) == 0) {
        return MarkerWrite::NotEarned{};
    }
    MarkerWrite written = replace(std::move(left), std::nullopt);
    return written.is<MarkerWrite::Failed>() ? written : MarkerWrite{MarkerWrite::Cleared{path_}};
}

MarkerWrite PostponementLedger::writeOnce(const Record& record) {
    auto all = onDiskRecords();
    if (holds(all, record.version)) {
        forget(record.version);
        return MarkerWrite::AlreadyStanding{};
    }
    all.push_back(record);
    MarkerWrite written = replace(std::move(all), record);
    if (!written.is<MarkerWrite::Failed>()) forget(record.version);
    return written;
}

MarkerWrite PostponementLedger::replace(std::vector<Record> with, const std::optional<Record>& failing) {
    const auto failed = [&](std::string because) -> MarkerWrite {
        if (failing) remember(*failing);
        return MarkerWrite::Failed{path_, std::move(because)};
    };
    const auto content = PostponedUpdate::encoded(std::move(with));
    if (!content) return failed("the postponement ledger would not encode");
    const std::string staging = path_ + ".writing";
    ::unlink(staging.c_str());
    if (!DurableFiles::create(staging, *content, ClientStoreMode::file)) {
        return failed(staging + " could not be created — the store folder is gone, read-only, or full");
    }
    static_cast<void>(::chmod(staging.c_str(), ClientStoreMode::file));
    // One call is both the replacing of a file and the move to a free name.
    if (std::rename(staging.c_str(), path_.c_str()) != 0) {
        const std::string error = FileError{path_, errno}.reason();
        ::unlink(staging.c_str());
        return failed(fmt::format("neither a replace ({}) nor a move ({}) put {} in place", error, error, path_));
    }
    (void)DurableFiles::syncFolder(std::filesystem::path{path_}.parent_path().string());
    return MarkerWrite::Wrote{path_};
}

void PostponementLedger::remember(const Record& record) {
    const std::lock_guard lock{mutex_};
    if (!holds(unwritten_, record.version)) unwritten_.push_back(record);
}

void PostponementLedger::forget(std::string_view version) {
    const std::lock_guard lock{mutex_};
    std::erase_if(unwritten_, [&](const Record& record) { return record.version == version; });
}

}  // namespace larkmoor
