#include "LarkmoorMenuApp/Update/Appcast/UpdateInstaller.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor {

namespace {

using Checked = std::expected<void, std::string>;

/// Renaming a folder into another one writes its "..", so the bundle itself has to be writable, too; and in a folder
/// like /tmp only what is one's own may be renamed.
bool mayRename(const UpdatePlaces& places) {
    struct stat parent{}, bundle{};
    if (::stat(places.parent.c_str(), &parent) != 0 || ::lstat(places.bundle.c_str(), &bundle) != 0) return false;
    if (::access(places.parent.c_str(), W_OK | X_OK) != 0 || ::access(places.bundle.c_str(), W_OK) != 0) return false;
    const uid_t user = ::geteuid();
    return (parent.st_mode & S_ISVTX) == 0 || user == 0 || user == parent.st_uid || user == bundle.st_uid;
}

/// Tried with two empty files, on the volume on which it counts.
Checked tryFiles(const UpdatePlaces& places) {
    const std::array probes{places.folder + "/probe-1", places.folder + "/probe-2"};
    Checked tried;
    for (const std::string& probe : probes) {
        ::unlink(probe.c_str());
        const auto made = Files::create(probe, {}, 0600);
        if (tried && !made) tried = std::unexpected{made.error().description()};
    }
    if (tried) {
        const Folders::Done done = Folders::exchange(probes[0], probes[1]);
        if (!done) {
            tried = std::unexpected{fmt::format("the file system of {} cannot exchange two folders at one stroke ({})",
                                                places.parent, done.error())};
        }
    }
    for (const std::string& probe : probes) ::unlink(probe.c_str());
    return tried;
}

/// The bundle itself may be kept in its place, as by a mount on it, or by an overlay whose lower layer it is from. A
/// rename to the name of a folder that is not empty is judged by all that judges a real one, and then refused.
Checked tryBundle(const UpdatePlaces& places) {
    const std::string probe = places.folder + "/probe", inside = probe + "/file";
    const auto remove = [&] { ::unlink(inside.c_str()), ::rmdir(probe.c_str()); };
    remove();
    auto made = Files::makeFolders(probe, 0700);
    if (made) made = Files::create(inside, {}, 0600);
    const bool isMoved = made && ::rename(places.bundle.c_str(), probe.c_str()) == 0;
    const int code = isMoved ? 0 : errno;
    // Which file system would do that?
    if (isMoved) ::rename(probe.c_str(), places.bundle.c_str());
    remove();
    if (!made) return std::unexpected{made.error().description()};
    if (code == ENOTEMPTY || code == EEXIST) return {};
    return std::unexpected{
        fmt::format("{} cannot change places with an update ({}); whoever installed it there brings it up to date",
                    places.bundle, std::strerror(isMoved ? ENOTSUP : code))};
}

/// Why the folder's lock was not to be had, by its errno.
std::string withoutLock(const UpdatePlaces& places, int code) {
    switch (code) {
        case EWOULDBLOCK:
            return fmt::format("{} is in use by another process", places.folder);
        case ENOTDIR:
            return fmt::format("{} is not a folder, and stands where Larkmoor keeps its updates", places.folder);
        case EPERM:
            return fmt::format("{} is not this user's alone, and stands where Larkmoor keeps its updates",
                               places.folder);
        default:
            return fmt::format("{} cannot be locked ({})", places.folder, std::strerror(code));
    }
}

}  // namespace

UpdateInstaller::UpdateInstaller(Options options)
    : options_(std::move(options)), places_(options_.bundle), launched_(Folders::identity(options_.bundle)) {}

Checked UpdateInstaller::checkIsOurs() const {
    const auto present = Folders::identity(places_.bundle);
    if (launched_ && present == launched_ && BundleExchange::buildOf(places_.bundle) == options_.build) return {};
    return std::unexpected{
        fmt::format("{} is not the copy that runs: it was moved or replaced; please start it anew", places_.bundle)};
}

Checked UpdateInstaller::prepare() {
    if (Checked ours = checkIsOurs(); !ours) return ours;
    if (!mayRename(places_)) {
        return std::unexpected{
            fmt::format("Larkmoor is installed in {}, which you may not change; whoever installed it there, such as "
                        "your package manager or your administrator, brings it up to date",
                        places_.parent)};
    }
    if (BundleExchange::record(places_)) {
        return std::unexpected{std::string{"the update before this one is not completed yet"}};
    }
    const auto made = Files::makeFolders(places_.folder, 0700);
    lock_.reset();
    if (!hold()) {
        const int code = errno;
        return std::unexpected{!made && code == ENOENT ? made.error().description() : withoutLock(places_, code)};
    }
    const auto bundle = Folders::identity(places_.bundle), folder = Folders::identity(places_.folder);
    if (!folder || folder->device != bundle->device) {
        return std::unexpected{fmt::format("{} is not on the volume of its folder", places_.bundle)};
    }
    if (Checked tried = tryFiles(places_); !tried) return tried;
    return tryBundle(places_);
}

bool UpdateInstaller::hold() {
    if (!lock_) lock_ = Folders::lock(places_.folder);
    return static_cast<bool>(lock_);
}

Checked UpdateInstaller::checkStaged() const {
    if (!staged_) return std::unexpected{std::string{"no update is ready"}};
    const bool isThere = Folders::identity(places_.staged()) == staged_->identity &&
                         BundleExchange::buildOf(places_.staged()) == staged_->build;
    if (!isThere) return std::unexpected{places_.staged() + ": not the update that was proven"};
    return checkIsOurs();
}

Checked UpdateInstaller::holdStaged() {
    if (Checked checked = checkStaged(); !checked) return checked;
    if (!isAgreed()) {
        return std::unexpected{
            std::string{"the consent to silent updates was withdrawn; it stays staged until the next check offers it"}};
    }
    // A session that is not at its end holds it already.
    return hold() ? Checked{} : std::unexpected{withoutLock(places_, errno)};
}

UpdateInstaller::Installed UpdateInstaller::refuse(const std::string& reason) {
    release();
    options_.log("the update could not be put in place: " + reason);
    return std::unexpected{reason};
}

Task<UpdateInstaller::Installed> UpdateInstaller::proveStagedAnew() {
    const Folders::Identity identity = staged_->identity;
    const auto proven = co_await options_.prove(places_.staged());
    if (proven) co_return Checked{};
    // Another check may have brought another update meanwhile.
    if (proven.error().isVerdict && staged_ && staged_->identity == identity && hold()) {
        staged_.reset();
        co_await BlockingWork::run([places = places_] { BundleExchange::discard(places); });
    }
    co_return std::unexpected{proven.error().words};
}

Task<UpdateInstaller::Installed> UpdateInstaller::install() {
    Checked done = holdStaged();
    if (done) done = co_await proveStagedAnew();
    // That took a while.
    if (done) done = holdStaged();
    if (const std::string words = options_.objection(); done && !words.empty()) done = std::unexpected{words};
    if (!done) co_return refuse(done.error());
    const StagedUpdate staged = *std::exchange(staged_, std::nullopt);
    done = BundleExchange::exchange(places_, options_.build, staged.build);
    if (!done) co_return refuse(done.error());
    options_.log(fmt::format("build {} is in place of build {}", staged.build, options_.build));
    options_.relaunch();
    co_return Installed{};
}

void UpdateInstaller::applyAtQuit() {
    if (!isAgreed()) return;
    Checked done = holdStaged();
    if (done) done = BundleExchange::arrange(places_, options_.build, staged_->build);
    if (!done) return static_cast<void>(refuse(done.error()));
    options_.log(fmt::format("build {} takes the place of build {} at the next start", staged_->build, options_.build));
    staged_.reset();
    // A start may come before this process is gone.
    release();
}

void UpdateInstaller::sayUp(const UpdatePlaces& places, const std::string& build) {
    const auto standing = BundleExchange::record(places);
    if (standing && standing->to == build && BundleExchange::buildOf(places.bundle) == build) {
        BundleExchange::complete(places);
    }
}

std::shared_ptr<OneShotEvent> UpdateInstaller::takeTurn(std::shared_ptr<OneShotEvent> mine) {
    return std::exchange(lastTurn_, std::move(mine));
}

}  // namespace larkmoor
