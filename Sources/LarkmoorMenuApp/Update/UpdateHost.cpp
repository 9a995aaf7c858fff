#include "LarkmoorMenuApp/Update/UpdateHost.h"

#include <fmt/format.h>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorUpdate/Clock/DailyClock.h"
#include "LarkmoorUpdate/Clock/TestLane.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace {

using Row = UpdateMenuLine::Event;
using State = UpdateMenuLine::State;

/// Whether the two differ in more than the bytes received, which the menu draws at its own pace.
bool looksOther(const std::optional<State>& left, const std::optional<State>& right) {
    const auto* from = left ? left->as<State::Downloading>() : nullptr;
    const auto* to = right ? right->as<State::Downloading>() : nullptr;
    return from != nullptr && to != nullptr ? from->version != to->version : left != right;
}

std::string trimmedOrEmpty(const std::optional<std::string>& text) { return std::string{trimmed(text.value_or(""))}; }

}  // namespace

UpdateHost::UpdateHost(Seams seams)
    : seams_(std::move(seams)),
      relay_(seams_.loop, seams_.client, seams_.log),
      migrationHold_(std::make_shared<MigrationHold>(std::make_shared<LiveMeetingReporter>(seams_.client))),
      gate_(std::make_shared<UpdateInstallGate>(
          UpdateInstallGate::Seams{.loop = seams_.loop,
                                   .meeting = migrationHold_,
                                   .system = [this](const std::string& line) { relay_.sayHere(line); },
                                   .note = [this](const std::string& line) { relay_.note(line); },
                                   .every = seams_.every,
                                   .install = [this](auto install) { installWhenMigrated(std::move(install)); },
                                   .isAgreed = [this] { return isOptedIn(); },
                                   .offer = [this] { checkAnew(); },
                                   .now = seams_.now,
                                   .waiting = seams_.waiting})) {
    gate_->onRow = [this](const Row& event) { takeRow(event); };
    if (!isProduction()) {
        preview_ = UpdateMenuLine::preview(seams_.defaults.string(UpdateMenuLine::previewKey).value_or(""), false);
    }
}

MenuDuties::Updates UpdateHost::duties() {
    return {
        .postSwapBounce =
            [this] {
                return PostSwapBounce::run(seams_.client, {.ownBuild = build(),
                                                           .user = seams_.user,
                                                           .launchctl = seams_.launchctl,
                                                           .relay = relay_,
                                                           .waiting = seams_.waiting});
            },
        .migrateAtLaunch = [this] { return migrateAtLaunch(); },
        .buildUpdater = [this] { return buildUpdaterAtLaunch(); },
        .armDailyClock = [this] { armDailyClock(); },
        .lookForUpgrade = [] {},
        .attachRow = [this](std::function<void()> changed) { rowChanged_ = std::move(changed); },
        .line = [this] { return UpdateMenuLine::line(rowState_ ? rowState_ : preview_); },
        .postponedSentence = seams_.ledger.sentence,
        .migrationOwed = [this] { return migrationOwed_; },
        .isMigrating = [this] { return migrating_; },
        .checkForUpdate = [this] { return checkForUpdate(); },
        .installUpdate = [this] { return installUpdate(); },
        .migrate = [this] { return migrateNow(); },
    };
}

// The updater

Task<bool> UpdateHost::buildUpdaterAtLaunch() {
    isLaunched_ = true;
    co_return buildUpdater();
}

bool UpdateHost::hasFeed() const {
    return !trimmedOrEmpty(seams_.bundle.feedURL).empty() && !trimmedOrEmpty(seams_.bundle.publicKey).empty();
}

bool UpdateHost::buildUpdater() {
    if (!hasFeed()) {
        relay_.say(
            "NOT starting the updater: this bundle carries no SUFeedURL and/or no SUPublicEDKey. It was wrapped "
            "without them (Scripts/make-daemon-app.sh stamps both).");
        return false;
    }
    auto driver = makeDriver();
    auto updater = seams_.makeUpdater(*driver, *this);
    std::expected<void, std::string> started = std::unexpected("this build has none");
    if (updater) {
        updater->setAutomaticallyChecksForUpdates(false);
        updater->setUpdateCheckInterval(std::chrono::seconds{UpdateCadence::effectiveScheduledSeconds});
        started = updater->startUpdater();
    }
    if (!started) {
        relay_.say("the updater would not start: " + started.error());
        return false;
    }
    driver_ = std::move(driver);
    updater_ = std::move(updater);
    relay_.say(fmt::format(
        "updater started · feed {} · key {}… · OUR clock, Sparkle's scheduler off (m:1545) · auto-install={}",
        trimmedOrEmpty(seams_.bundle.feedURL), trimmedOrEmpty(seams_.bundle.publicKey).substr(0, 8),
        updater_->automaticallyDownloadsUpdates()));
    return true;
}

std::shared_ptr<UpdateDriver> UpdateHost::makeDriver() {
    return std::make_shared<UpdateDriver>(UpdateDriver::Seams{
        .loop = seams_.loop,
        .standard = seams_.makeStandardDriver(),
        .optedIn = [this] { return isOptedIn(); },
        .gate = gate_,
        .relay = relay_,
        .displayVersion = seams_.bundle.version.value_or(""),
        .onMenuAnswer =
            [this](Int token, const UpdateMenuAnswer& answer) {
                if (pendingMenuAnswer_ && pendingMenuAnswer_->token == token) return answerMenu(answer);
                // The person had said yes to the update by then.
                const auto* failed = answer.as<UpdateMenuAnswer::Failed>();
                if (failed != nullptr && !pendingMenuAnswer_) tellNotInstalled(failed->reason);
            },
        .onRow = [this](const Row& event) { takeRow(event); },
    });
}

void UpdateHost::rebuild() {
    answerMenu(UpdateMenuAnswer::Failed{"another check just started, try again in a moment"});
    takeRow(Row::Rebuilt{});
    gate_->drop();
    isInstallAsked_ = false;
    waitingInstall_ = nullptr;
    // What the old ones say while they end is no longer the current updater's.
    std::exchange(updater_, nullptr).reset();
    std::exchange(driver_, nullptr).reset();
    const bool isRunning = buildUpdater();
    relay_.say(
        fmt::format("rebuilt the updater before asking, so the feed decides rather than a pick from an earlier "
                    "check (m:1545) · running={}",
                    isRunning));
}

void UpdateHost::armDailyClock() {
    dailyClock_.reset();
    const auto lane = TestLane::defaultsValue(seams_.defaults);
    cadence_ = TestLane::cadence(lane);
    auto source = seams_.makeClockSource();
    const auto lastCheck = updater_ ? updater_->lastUpdateCheckDate() : std::nullopt;
    const auto first = DailyClock::firstDelay(lastCheck, source->now(), cadence_);
    relay_.say(fmt::format("daily clock armed · first tick in {}s, then every {}s (m:1545){}",
                           std::chrono::floor<std::chrono::seconds>(first).count(), cadence_.count(),
                           TestLane::armed(lane) ? " · TEST LANE, not the shipped cadence" : ""));
    constexpr std::chrono::seconds leeway{15};
    dailyClock_ =
        std::make_unique<WallClockTimer>(std::move(source), first, cadence_, leeway, [this] { scheduledTick(); });
}

void UpdateHost::scheduledTick() {
    const bool bitsInFlight = driver_ && driver_->bitsInFlight(), isClickOwed = pendingMenuAnswer_.has_value();
    relay_.say(DailyClock::tickLine(DailyClock::standDown(bitsInFlight, isClickOwed, rowState_), cadence_));
    if (DailyClock::onTick(bitsInFlight, isClickOwed, rowState_) == DailyClock::Tick::rebuildThenCheck) checkAnew();
}

void UpdateHost::checkAnew() {
    rebuild();
    if (updater_) updater_->checkForUpdatesInBackground();
}

void UpdateHost::willDownloadUpdate(const Updater& updater, const AppcastItem& item) {
    if (isCurrent(updater)) takeRow(Row::DownloadStarted{item.displayVersionString});
}

void UpdateHost::willExtractUpdate(const Updater& updater, const AppcastItem& item) {
    if (isCurrent(updater)) takeRow(Row::Unpacking{item.displayVersionString});
}

void UpdateHost::userDidMakeChoice(const Updater& updater, UserUpdateChoice choice, const AppcastItem& item,
                                   UserUpdateState state) {
    if (isCurrent(updater) && choice == UserUpdateChoice::dismiss && state.stage == UserUpdateStage::installing) {
        takeRow(Row::ChoseInstallOnQuit{item.displayVersionString});
    }
}

bool UpdateHost::willInstallUpdateOnQuit(const Updater& updater, const AppcastItem& item,
                                         std::function<void()> immediateInstallation) {
    // The block of an updater that was replaced is dead.
    if (isCurrent(updater)) gate_->hold(std::move(immediateInstallation), item.displayVersionString);
    return isCurrent(updater);
}

void UpdateHost::didFinishUpdateCycle(const Updater& updater, const std::optional<std::string>&) {
    if (!isCurrent(updater)) return;
    // The feed may have taken back what waits for the quit.
    if (!updater.hasStaged()) takeRow(Row::Found{});
    takeRow(Row::SessionEnded{});
    // Whatever way it ended, no download is running any more, and no window is open for it.
    driver_->dismissUpdateInstallation();
    menuCheckEnded();
}

void UpdateHost::didAbortWithError(const Updater& updater, const std::string& reason) {
    if (!isCurrent(updater)) return;
    relay_.say("update cycle aborted: " + reason);
    takeRow(Row::SessionEnded{});
    if (std::exchange(isInstallAsked_, false)) tellNotInstalled(reason);
}

void UpdateHost::failedToDownloadUpdate(const Updater& updater, const AppcastItem& item, const std::string& reason) {
    if (!isCurrent(updater)) return;
    relay_.say(fmt::format("failed to download {}: {}", item.displayVersionString, reason));
    takeRow(Row::SessionEnded{});
}

// The menu

void UpdateHost::takeRow(const Row& event) {
    auto next = UpdateMenuLine::next(rowState_, event);
    const bool isOther = looksOther(rowState_, next);
    rowState_ = std::move(next);
    if (isOther && rowChanged_) rowChanged_();
}

Task<UpdateHost::Sentence> UpdateHost::checkForUpdate() {
    if (!hasFeed()) co_return UpdateMenuAnswer{UpdateMenuAnswer::NoFeed{}}.sentence();
    // No check before the daemon is healed and a migration that is due has been dealt with.
    if (!isLaunched_) {
        co_return UpdateMenuAnswer{UpdateMenuAnswer::Failed{"Larkmoor is still starting, try again in a moment"}}
            .sentence();
    }
    if (driver_ && StalePick::beforeCheck(driver_->bitsInFlight()) == StalePick::Verdict::waitForTheDownload) {
        co_return UpdateMenuAnswer{UpdateMenuAnswer::Failed{"an update is already downloading"}}.sentence();
    }
    rebuild();
    if (!driver_) co_return UpdateMenuAnswer{UpdateMenuAnswer::NoFeed{}}.sentence();
    struct Answered {
        OneShotEvent is;
        std::optional<UpdateMenuAnswer> answer{};
    };
    const auto answered = std::make_shared<Answered>(OneShotEvent{seams_.loop});
    const Int token = nextToken_++;
    pendingMenuAnswer_ = {.token = token, .say = [answered](std::optional<UpdateMenuAnswer> answer) {
                              answered->answer = std::move(answer);
                              answered->is.set();
                          }};
    driver_->setCurrentToken(token);
    relay_.say("check for updates: asked from the menu");
    updater_->checkForUpdates();
    co_await answered->is.wait();
    co_return answered->answer ? answered->answer->sentence() : std::nullopt;
}

void UpdateHost::answerMenu(std::optional<UpdateMenuAnswer> answer) {
    if (const auto pending = std::exchange(pendingMenuAnswer_, std::nullopt)) pending->say(std::move(answer));
}

void UpdateHost::menuCheckEnded() {
    if (!pendingMenuAnswer_) return;
    answerMenu(std::nullopt);
    relay_.say("check for updates: the menu check ended with no answer (cancelled) · the daily clock is free again");
}

Task<UpdateHost::Sentence> UpdateHost::installUpdate() {
    isInstallAsked_ = true;
    if (updater_) updater_->chooseStaged();
    if (migrating_) {
        installWhenMigrated_ = true;
        relay_.say(waitsForMigration);
        co_return std::nullopt;
    }
    if (gate_->installNow()) co_return std::nullopt;
    co_return co_await checkForUpdate();
}

void UpdateHost::tellNotInstalled(const std::string& reason) const {
    seams_.tell("Larkmoor couldn't install the update: " + reason);
}

}  // namespace larkmoor
