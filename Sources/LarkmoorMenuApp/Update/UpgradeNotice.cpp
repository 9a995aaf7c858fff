#include "LarkmoorMenuApp/Update/UpgradeNotice.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <utility>

#include "LarkmoorBase/Files.h"
#include "LarkmoorMenuApp/Update/Appcast/UpdateProof.h"
#include "LarkmoorPlatform/PropertyList.h"
#include "LarkmoorPlatform/Spawn.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace {

using Stage = Upgrade::Stage;

std::int64_t nanoseconds(const timespec& time) { return time.tv_sec * 1'000'000'000 + time.tv_nsec; }

std::optional<FileStamp> stampOf(const std::string& path) {
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return FileStamp{.device = status.st_dev,
                     .number = status.st_ino,
                     .size = static_cast<std::uint64_t>(status.st_size),
                     .modified = nanoseconds(status.st_mtim),
                     .changed = nanoseconds(status.st_ctim)};
}

std::string listOf(const std::string& bundle) { return bundle + "/Contents/Info.plist"; }

}  // namespace

// What lies there may have been replaced while this process was being started.
UpgradeNotice::UpgradeNotice(Seams seams)
    : seams_(std::move(seams)), watch_({.list = sight().list, .program = stampOf(seams_.image)}) {}

MenuDuties::Updates UpgradeNotice::before(MenuDuties::Updates updates) {
    MenuDuties::Updates duties = updates;
    duties.lookForUpgrade = [this] { look(); };
    duties.attachRow = [this, attach = updates.attachRow](std::function<void()> changed) {
        changed_ = changed;
        attach(std::move(changed));
    };
    duties.line = [this, line = updates.line] { return found_ ? found_->line() : line(); };
    // The Migrator that lies there is the installed version's, which runs it when it starts.
    duties.migrationOwed = [this, owed = updates.migrationOwed] { return !found_ && owed(); };
    duties.checkForUpdate = [this, check = updates.checkForUpdate] { return found_ ? sayInstalled() : check(); };
    duties.installUpdate = [this, install = updates.installUpdate] { return found_ ? startAnew() : install(); };
    return duties;
}

// What lies there

void UpgradeNotice::look() {
    const BundleSighting seen = sight();
    if (watch_.isJudged(seen) || !watch_.isOver(seen, isInstallerBusy(), seams_.now())) return;
    if (!seen.list) {
        seams_.log(fmt::format("{} is gone; this application goes on until it is quit", seams_.places.bundle));
    }
    take(installed());
}

BundleSighting UpgradeNotice::sight() const {
    return {.list = stampOf(listOf(seams_.places.bundle)), .program = stampOf(seams_.executable)};
}

/// dpkg unpacks beside each file before it puts the first of them in place, and keeps the old ones until the last is.
bool UpgradeNotice::isInstallerBusy() const {
    for (const std::string& file : {listOf(seams_.places.bundle), seams_.executable}) {
        if (Files::exists(file + ".dpkg-new") || Files::exists(file + ".dpkg-tmp")) return true;
    }
    return BundleExchange::record(seams_.places).has_value();
}

std::optional<Upgrade> UpgradeNotice::installed() const {
    const auto list = watch_.isReplaced() ? Files::read(listOf(seams_.places.bundle)) : Bytes{};
    if (!list || PropertyList::textUnder(*list, "CFBundleIdentifier") != ClientInstance::menubarID) return std::nullopt;
    return Upgrade::of({.version = PropertyList::textUnder(*list, "CFBundleShortVersionString"),
                        .build = PropertyList::textUnder(*list, "CFBundleVersion")},
                       seams_.running);
}

void UpgradeNotice::take(std::optional<Upgrade> found) {
    // The same once more, as by a package that is installed again.
    if (found && found_ && found->build == found_->build) return;
    if (gate_) gate_->drop();
    news_.request_stop();
    found_ = std::move(found);
    if (changed_) changed_();
    if (!found_ || std::exchange(toldBuild_, found_->build) == found_->build) return;
    seams_.log(fmt::format("build {} is installed in place of build {}, which goes on until it is started anew",
                           found_->build, seams_.running.build.value_or("?")));
    news_ = {};
    spawn(seams_.loop, weak_from_this(), [upgrade = *found_, withdrawn = news_.get_token()](UpgradeNotice& self) {
        return self.tell(upgrade, withdrawn);
    });
}

// What is said of it

Task<void> UpgradeNotice::tell(Upgrade upgrade, std::stop_token withdrawn) {
    const AlertAnswer answer = co_await seams_.news.show(
        Alert{.message = fmt::format("{} is installed", upgrade.name),
              .text = fmt::format("You still run {}. The menu starts the installed one whenever you like.",
                                  upgrade.running),
              .buttons = {"Start Anew", "Later"},
              .showsApplicationIcon = true},
        {.withdrawn = withdrawn});
    if (answer != AlertAnswer{AlertAnswers::Chosen{0}}) co_return;
    auto sentence = co_await startAnew();
    if (!sentence) co_return;
    static_cast<void>(co_await seams_.news.show(Alert{.message = *std::move(sentence), .buttons = {"OK"}}, {}));
}

void UpgradeNotice::enter(Stage stage) {
    if (!found_ || std::exchange(found_->stage, stage) == stage) return;
    if (changed_) changed_();
}

void UpgradeNotice::followGate(const UpdateMenuLine::Event& event) {
    if (event.is<UpdateMenuLine::Event::GateWaiting>()) enter(Stage::waitsForCall);
    // Nothing is known of a call then; the next click does not wait any more.
    if (event.is<UpdateMenuLine::Event::GateDoorSilent>()) enter(Stage::offered);
}

/// No feed knows better, and the updater puts nothing in the place of what does not run.
Task<UpgradeNotice::Sentence> UpgradeNotice::sayInstalled() {
    co_return fmt::format("{} is installed, and waits in this menu to be started", found_->name);
}

// The start

Task<UpgradeNotice::Sentence> UpgradeNotice::startAnew() {
    if (!found_ || (gate_ && gate_->installNow()) || found_->stage == Stage::starts) co_return std::nullopt;
    enter(Stage::starts);
    const std::string build = found_->build;
    const auto runs = co_await tryToRun(seams_.runner, seams_.executable, {});
    if (!found_ || found_->build != build || !watch_.isJudged(sight())) {
        enter(Stage::offered);
        co_return "Larkmoor's files are being changed, try again in a moment";
    }
    if (!runs) {
        enter(Stage::offered);
        co_return fmt::format("{} cannot start: {}", found_->name, runs.error());
    }
    makeGate();
    gate_->hold([this] { relaunch(); }, build);
    co_return std::nullopt;
}

void UpgradeNotice::makeGate() {
    // Its words are of an update.
    const auto unsaid = [](const std::string&) {};
    gate_ = std::make_shared<UpdateInstallGate>(UpdateInstallGate::Seams{.loop = seams_.loop,
                                                                         .meeting = seams_.meeting,
                                                                         .system = unsaid,
                                                                         .note = unsaid,
                                                                         .every = seams_.every,
                                                                         .now = seams_.now,
                                                                         .waiting = seams_.waiting});
    gate_->onRow = [this](const UpdateMenuLine::Event& event) { followGate(event); };
}

void UpgradeNotice::relaunch() {
    // The wait for a call may have been long, and not every change of the files is known before it is over.
    const bool isThere = found_ && watch_.isJudged(sight());
    enter(isThere ? Stage::starts : Stage::offered);
    if (!isThere) return;
    seams_.log(fmt::format("build {} takes over from build {}", found_->build, seams_.running.build.value_or("?")));
    seams_.relaunch();
}

}  // namespace larkmoor
