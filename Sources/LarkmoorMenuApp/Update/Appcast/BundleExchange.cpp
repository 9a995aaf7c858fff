#include "LarkmoorMenuApp/Update/Appcast/BundleExchange.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <utility>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorPlatform/PropertyList.h"

namespace larkmoor {

UpdatePlaces::UpdatePlaces(std::string bundlePath) : bundle(std::move(bundlePath)) {
    const std::filesystem::path path{bundle};
    parent = path.parent_path().string();
    folder = fmt::format("{}/.{}.update", parent == "/" ? "" : parent, path.filename().string());
}

std::optional<std::string> UpdatePlaces::inBundle(const std::string& file) {
    constexpr std::string_view prefix = ".", suffix = ".update";
    for (std::filesystem::path above = file; above.has_relative_path(); above = above.parent_path()) {
        const std::string name = above.filename().string();
        if (name.size() <= prefix.size() + suffix.size()) continue;
        const UpdatePlaces places{above.parent_path() /
                                  name.substr(prefix.size(), name.size() - prefix.size() - suffix.size())};
        const std::string inside = places.staged() + "/";
        if (places.folder == above && file.starts_with(inside)) {
            return fmt::format("{}/{}", places.bundle, file.substr(inside.size()));
        }
    }
    return std::nullopt;
}

namespace BundleExchange {

namespace {

using Folders::Done;

constexpr mode_t fileMode = 0600;
constexpr std::string_view keptPrefix = "kept-";

template <class Record>
std::optional<Record> readRecord(const std::string& path) {
    const auto bytes = Files::read(path);
    if (!bytes) return std::nullopt;
    auto value = Decoder::decode<Record>(*bytes);
    return value ? std::optional{*std::move(value)} : std::nullopt;
}

template <class Record>
Done writeRecord(const std::string& path, const Record& value) {
    const auto bytes = Encoder::encode(value);
    if (!bytes) return std::unexpected{path + ": no text for JSON"};
    const auto written = Files::replace(path, *bytes, fileMode);
    return written ? Done{} : std::unexpected{written.error().description()};
}

Done remove(const UpdatePlaces& places, const std::string& path) {
    // The tar of a process that was killed may still be unpacking there. What stays is found again by the next check.
    constexpr int attempts = 50;
    Done removed = Folders::removeTree(places.parent, path);
    for (int attempt = 1; attempt < attempts && !removed; ++attempt) removed = Folders::removeTree(places.parent, path);
    return removed ? removed : std::unexpected{fmt::format("{}: {}", path, removed.error())};
}

/// What cannot be removed must not stand in the way of every update to come.
void moveAside(const UpdatePlaces& places, const std::string& path) {
    constexpr int maxKept = 100;
    for (int number = 1; number <= maxKept; ++number) {
        const std::string aside = fmt::format("{}/{}{}", places.folder, keptPrefix, number);
        if (!Files::isAbsent(aside)) continue;
        ::rename(path.c_str(), aside.c_str());
        return;
    }
}

void removeRecord(const UpdatePlaces& places) { ::unlink(places.record().c_str()); }

void noteFailure(const UpdatePlaces& places, const std::string& build) {
    // Without the note it is tried once more, which is no harm.
    static_cast<void>(writeRecord(places.failed(), FailedUpdate{.build = build, .count = failures(places, build) + 1}));
}

/// Whether an exchange is arranged and not done.
bool isDue(const UpdatePlaces& places) {
    const auto standing = record(places);
    return standing && !standing->isGivenBack && buildOf(places.bundle) == standing->from;
}

/// Of the folder, for a launch. While another one is about to exchange the bundle, what begins would be the old build.
FileDescriptor awaitLock(const UpdatePlaces& places) {
    constexpr std::chrono::seconds patience{70};
    constexpr useconds_t pause = 10'000;
    FileDescriptor lock = Folders::lock(places.folder);
    if (lock || !isDue(places)) return lock;
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!lock && isDue(places) && std::chrono::steady_clock::now() < deadline) {
        ::usleep(pause);
        lock = Folders::lock(places.folder);
    }
    // It is done, and this process not of the build that is to be tried.
    if (!isDue(places)) lock.reset();
    return lock;
}

/// What a quit has arranged is done, unless the staged bundle is not what it was. One that nobody could judge stays for
/// the next check, which has more time: with the record each start of this session would try it, and keep the person
/// waiting.
Settlement exchangeAsArranged(const UpdatePlaces& places, const Proof& prove) {
    const auto proven = prove(places.staged());
    Done done;
    if (!proven && proven.error().isVerdict) {
        done = std::unexpected{proven.error().words};
        discard(places);
    } else if (!proven) {
        done = std::unexpected{proven.error().words + "; it stays staged, and the next check proves it again"};
    } else {
        done = Folders::exchange(places.bundle, places.staged());
    }
    if (done) return {.isExchanged = true};
    removeRecord(places);
    ::rmdir(places.folder.c_str());
    return {.refusal = done.error()};
}

/// The new build stands under the bundle's name, and was not up when it last ended.
Settlement startAgain(const UpdatePlaces& places, UpdateRecord standing, FileDescriptor lock) {
    const bool isOver = standing.isGivenBack || standing.starts >= maxStarts;
    ++standing.starts;
    standing.unneeded.reset();
    standing.untried.reset();
    // On a full disk no start can be counted, and the third would never come.
    const bool isCounted = !isOver && writeRecord(places.record(), standing);
    if (!isCounted && giveBack(places)) return {.isGivenBack = true};
    return {.lock = std::move(lock)};
}

}  // namespace

std::optional<std::string> buildOf(const std::string& bundle) {
    const auto list = Files::read(bundle + "/Contents/Info.plist");
    return list ? PropertyList::textUnder(*list, "CFBundleVersion") : std::nullopt;
}

std::optional<UpdateRecord> record(const UpdatePlaces& places) { return readRecord<UpdateRecord>(places.record()); }

Done arrange(const UpdatePlaces& places, const std::string& from, const std::string& to) {
    return writeRecord(places.record(), UpdateRecord{.from = from,
                                                     .to = to,
                                                     .starts = 0,
                                                     .isGivenBack = false,
                                                     .unneeded = std::nullopt,
                                                     .untried = std::nullopt});
}

bool isArranged(const UpdatePlaces& places) { return isDue(places) && Folders::lock(places.folder); }

bool isInPlace(const UpdatePlaces& places) {
    const auto standing = record(places);
    return standing && buildOf(places.bundle) == standing->to;
}

Done exchange(const UpdatePlaces& places, const std::string& from, const std::string& to) {
    if (Done arranged = arrange(places, from, to); !arranged) return arranged;
    Done done = Folders::exchange(places.bundle, places.staged());
    if (!done) removeRecord(places);
    return done;
}

Done giveBack(const UpdatePlaces& places) {
    auto standing = record(places);
    if (!standing) return std::unexpected{std::string{"there is nothing to give back"}};
    standing->isGivenBack = true;
    // On a full disk the old bundle is more important than the note that the new one failed.
    static_cast<void>(writeRecord(places.record(), *standing));
    if (buildOf(places.bundle) == standing->to) {
        if (buildOf(places.staged()) != standing->from)
            return std::unexpected{places.staged() + ": not the old bundle"};
        if (Done done = Folders::exchange(places.bundle, places.staged()); !done) return done;
    }
    noteFailure(places, standing->to);
    static_cast<void>(remove(places, places.staged()));
    removeRecord(places);
    return {};
}

Done postpone(const UpdatePlaces& places) {
    const auto standing = record(places);
    const bool isExchanged = standing && !standing->isGivenBack && buildOf(places.bundle) == standing->to &&
                             buildOf(places.staged()) == standing->from;
    if (!isExchanged) return std::unexpected{places.staged() + ": not the old bundle"};
    Done done = Folders::exchange(places.bundle, places.staged());
    if (done) removeRecord(places);
    return done;
}

void noteEnd(const UpdatePlaces& places, StartEnd end) {
    auto standing = record(places);
    if (!standing) return;
    standing->starts = std::max<Int>(standing->starts - 1, 0);
    (end == StartEnd::untried ? standing->untried : standing->unneeded) = ::getpid();
    static_cast<void>(writeRecord(places.record(), *standing));
}

void complete(const UpdatePlaces& places) {
    removeRecord(places);
    static_cast<void>(remove(places, places.folder));
}

Int failures(const UpdatePlaces& places, const std::string& build) {
    const auto failed = readRecord<FailedUpdate>(places.failed());
    return failed && failed->build == build ? failed->count : 0;
}

Done clear(const UpdatePlaces& places, bool keepsStaged) {
    Done cleared;
    if (record(places)) return cleared;
    for (const std::string& name : Files::names(places.folder).value_or(std::vector<std::string>{})) {
        const std::string path = fmt::format("{}/{}", places.folder, name);
        if (path == places.failed() || (keepsStaged && path == places.staged())) continue;
        Done removed = remove(places, path);
        if (!removed && !name.starts_with(keptPrefix)) moveAside(places, path);
        if (!removed) cleared = std::move(removed);
    }
    return cleared;
}

void sweep(const UpdatePlaces& places, bool keepsStaged) {
    static_cast<void>(clear(places, keepsStaged));
    ::rmdir(places.folder.c_str());
}

void discard(const UpdatePlaces& places) {
    if (!remove(places, places.staged())) moveAside(places, places.staged());
}

Settlement settle(const UpdatePlaces& places, const Proof& prove) {
    FileDescriptor lock = awaitLock(places);
    if (!lock) return {};
    if (!Files::exists(places.record())) {
        sweep(places, true);
        return {};
    }
    const auto standing = record(places);
    const auto inPlace = buildOf(places.bundle);
    if (standing && inPlace == standing->to) return startAgain(places, *standing, std::move(lock));
    if (standing && inPlace == standing->from) {
        // Killed behind the exchange that gave the old bundle back.
        if (standing->isGivenBack && giveBack(places)) return {};
        const bool isStaged = !standing->isGivenBack && buildOf(places.staged()) == standing->to;
        if (isStaged) return exchangeAsArranged(places, prove);
        removeRecord(places);
        return {.refusal = places.staged() + ": not the update that was arranged"};
    }
    // Somebody else has put another bundle there; or no record.
    removeRecord(places);
    sweep(places, false);
    return {};
}

}  // namespace BundleExchange

}  // namespace larkmoor
