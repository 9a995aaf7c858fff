#include "LarkmoorMenuApp/Update/Appcast/UpdateSession.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorPlatform/Spawn.h"

namespace larkmoor {

namespace {

constexpr std::uint64_t maxArchiveBytes = std::uint64_t{4} << 30U;
constexpr std::chrono::minutes feedBudget{2};
/// A build that did not come up so often is left to a check by hand.
constexpr Int maxFailures = 2;

using Picked = std::expected<std::optional<AppcastItem>, std::string>;

/// A file without a name.
std::expected<FileDescriptor, std::string> nameless() {
    const auto failed = [] { return std::unexpected{FileError{"a temporary file", errno}.description()}; };
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{std::tmpfile(), std::fclose};
    if (!file) return failed();
    FileDescriptor copy{::fcntl(::fileno(file.get()), F_DUPFD_CLOEXEC, 0)};
    if (!copy) return failed();
    return copy;
}

Picked readAndPick(int feed, const std::string& address, const OurVersion& ours) {
    ::lseek(feed, 0, SEEK_SET);
    const auto bytes = Files::readAll(feed, "the feed");
    if (!bytes) return std::unexpected{bytes.error().description()};
    const auto appcast = readAppcast(*bytes, address);
    if (!appcast) return std::unexpected{appcast.error()};
    return pick(*appcast, ours);
}

}  // namespace

UpdateSession::UpdateSession(AppcastServices services, Owner owner, bool isUserInitiated)
    : services_(std::move(services)), owner_(owner), isUserInitiated_(isUserInitiated), isShown_(isUserInitiated) {}

// The life of a session

void UpdateSession::start() {
    isUnderWay_ = true;
    spawn(services_.loop, weak_from_this(), [](UpdateSession& self) { return self.run(); });
}

void UpdateSession::abandon() {
    owner_.reset();
    stop_.request_stop();
}

Task<void> UpdateSession::run() {
    const auto done = std::make_shared<OneShotEvent>(services_.loop);
    if (const auto before = services_.installer.takeTurn(done)) co_await before->wait();
    Step end;
    // Whatever happens, the next session gets its turn.
    try {
        if (!isOver()) end = co_await check();
    } catch (const std::exception& thrown) {
        end = std::unexpected{std::string{thrown.what()}};
    } catch (...) {
        end = std::unexpected{std::string{"an error that nobody expected"}};
    }
    // What lies there under another process's lock is that process's own.
    const bool sweeps = services_.installer.hold();
    co_await BlockingWork::run([places = services_.installer.places(), keeps = keepsStaged_, sweeps] {
        if (sweeps) BundleExchange::sweep(places, keeps);
    });
    services_.installer.release();
    done->set();
    isUnderWay_ = false;
    if (isOver() || !end || wasUnseen_) awaitInstallation();
    finish(end);
    // What comes now is no part of what the person asked for.
    isShown_ = false;
}

void UpdateSession::finish(const Step& end) {
    std::optional<std::string> reason;
    if (isOver()) reason = "cancelled";
    if (!isOver() && !end) reason = end.error();
    const bool isError = reason && !isOver();
    if (isError && isShown_) {
        tell([&reason](UserDriver& driver) { driver.showUpdaterError(*reason, [] {}); });
    } else {
        tell([](UserDriver& driver) { driver.dismissUpdateInstallation(); });
    }
    if (isError) {
        report([&reason](UpdaterDelegate& delegate, const Updater& updater) {
            delegate.didAbortWithError(updater, *reason);
        });
    }
    report([&reason](UpdaterDelegate& delegate, const Updater& updater) {
        delegate.didFinishUpdateCycle(updater, reason);
    });
}

// The feed

Task<UpdateSession::Step> UpdateSession::check() {
    if (isUserInitiated_) {
        tell([this](UserDriver& driver) { driver.showUserInitiatedUpdateCheck(cancellation()); });
    }
    const auto picked = co_await readFeed();
    if (isOver()) co_return Step{};
    if (!picked) co_return std::unexpected{picked.error()};
    if (*picked && !isPassedOver(**picked)) co_return co_await offer(**picked);
    forgetStaged();
    if (isUserInitiated_) {
        tell([](UserDriver& driver) { driver.showUpdateNotFoundWithError("there is no newer version", [] {}); });
    }
    co_return Step{};
}

Task<Picked> UpdateSession::readFeed() {
    auto file = nameless();
    if (!file) co_return std::unexpected{file.error()};
    const auto feed = std::make_shared<FileDescriptor>(*std::move(file));
    FileDescriptor copy{::fcntl(feed->get(), F_DUPFD_CLOEXEC, 0)};
    if (!copy) co_return std::unexpected{FileError{"a temporary file", errno}.description()};
    const auto end = co_await services_.fetch.fetch({.url = services_.feedURL,
                                                     .target = FetchTargets::Descriptor{std::move(copy)},
                                                     .maxBytes = std::int64_t{maxAppcastBytes},
                                                     .allowsHTTP = isLoopbackHTTP(services_.feedURL),
                                                     .budget = feedBudget},
                                                    {}, stop_.get_token());
    if (!end) co_return std::unexpected{end.error().reason};
    const auto noted = services_.defaults.set(UpdateDefaults::lastCheck, iso8601(services_.now()));
    if (!noted) services_.log("the time of the check is not kept: " + noted.error().description());
    co_return co_await BlockingWork::run(
        [feed, address = services_.feedURL, ours = services_.ours] { return readAndPick(feed->get(), address, ours); });
}

bool UpdateSession::isPassedOver(const AppcastItem& item) const {
    if (isUserInitiated_) return false;
    if (!item.isCritical && services_.defaults.string(UpdateDefaults::skipped) == item.versionString) return true;
    if (BundleExchange::failures(services_.installer.places(), item.versionString) < maxFailures) return false;
    services_.log(fmt::format("build {} is on the feed, but did not start here {} times: it is left to a check by hand",
                              item.versionString, maxFailures));
    return true;
}

// The offer

UserUpdateState UpdateSession::state() const {
    return {.userInitiated = isUserInitiated_,
            .stage = services_.installer.staged() ? UserUpdateStage::installing : UserUpdateStage::notDownloaded};
}

bool UpdateSession::isSilent(const AppcastItem& item) const {
    return !isUserInitiated_ && !item.isOfferOnly && !item.isNewsOnly() && UpdateDefaults::consent(services_.defaults);
}

Task<UpdateSession::Step> UpdateSession::offer(AppcastItem item) {
    if (item.isNewsOnly()) {
        forgetStaged();
        static_cast<void>(co_await isWanted(std::move(item)));
        co_return Step{};
    }
    if (Step prepared = services_.installer.prepare(); !prepared) co_return prepared;
    co_await findStaged(item);
    const bool silent = isSilent(item);
    if (isOver() || (!silent && !co_await isWanted(item))) co_return Step{};
    if (!services_.installer.staged()) {
        if (Step brought = co_await bring(item); !brought) co_return brought;
    }
    if (isOver()) co_return Step{};
    if (!silent) co_return co_await offerInstallation(std::move(item));
    tell([](UserDriver& driver) { driver.dismissUpdateInstallation(); });
    awaitInstallation();
    co_return Step{};
}

/// What an earlier process or session has staged is used if it is this very item; anything else goes.
Task<void> UpdateSession::findStaged(AppcastItem item) {
    auto& installer = services_.installer;
    const auto& before = installer.staged();
    const bool isChosen = before && before->isChosen && before->build == item.versionString;
    auto proven = co_await proveStaged(proof(), installer.places(), std::move(item), stop_.get_token());
    if (isOver()) co_return;
    if (proven) proven->isChosen = isChosen;
    installer.setStaged(proven ? std::optional{*std::move(proven)} : std::nullopt);
    const auto cleared =
        co_await BlockingWork::run([places = installer.places(), keeps = installer.staged().has_value()] {
            return BundleExchange::clear(places, keeps);
        });
    if (!cleared) services_.log("what is left of an update cannot be removed: " + cleared.error());
}

/// Asks the person. Whoever does not want it now, or could not be asked, is asked at the next check, unless it was
/// skipped.
Task<bool> UpdateSession::isWanted(AppcastItem item) {
    const UserUpdateState asked = state();
    const Choice choice = co_await ask([item, asked](UserDriver& driver, UserDriver::Reply reply) {
        driver.showUpdateFound(item, asked, std::move(reply));
    });
    wasUnseen_ = choice == UserUpdateChoice::unseen && !item.isOfferOnly && !item.isNewsOnly();
    if (!choice || choice == UserUpdateChoice::unseen) co_return false;
    report([&](UpdaterDelegate& delegate, const Updater& updater) {
        delegate.userDidMakeChoice(updater, *choice, item, asked);
    });
    if (choice == UserUpdateChoice::skip) {
        forgetStaged();
        const auto noted = services_.defaults.set(UpdateDefaults::skipped, item.versionString);
        if (!noted) services_.log("the choice to skip is not kept: " + noted.error().description());
    }
    // What is staged goes in at the quit, if not now.
    if (choice != UserUpdateChoice::skip) services_.installer.choose();
    isShown_ = choice == UserUpdateChoice::install;
    co_return isShown_;
}

// The archive

UpdateProof UpdateSession::proof() const {
    return {.runner = services_.runner,
            .signatures = services_.signatures,
            .publicKey = services_.publicKey,
            .identifier = services_.identifier,
            .ourBuild = services_.ours.build};
}

Task<UpdateSession::Step> UpdateSession::bring(AppcastItem item) {
    Step done = co_await download(item);
    if (done) done = co_await proveArchive(proof(), services_.installer.places().download(), item, stop_.get_token());
    if (!done || isOver()) co_return done;
    co_return co_await unpack(std::move(item));
}

FetchListener UpdateSession::downloadListener(const AppcastItem& item) {
    const auto weakly = [weak = weak_from_this()](auto function) {
        return [weak, function](const auto& value) {
            if (const auto self = weak.lock()) function(*self, value);
        };
    };
    constexpr int okay = 200;
    return {.head = weakly([told = item.length](const UpdateSession& self, const FetchHead& head) {
                const auto length = head.length ? static_cast<std::uint64_t>(*head.length) : told.value_or(0);
                if (head.status != okay) return;
                self.tell([length](UserDriver& driver) { driver.showDownloadDidReceiveExpectedContentLength(length); });
            }),
            .progress = weakly([](UpdateSession& self, std::int64_t bytes) {
                const auto all = static_cast<std::uint64_t>(bytes);
                const std::uint64_t fresh = all - std::exchange(self.received_, all);
                self.tell([fresh](UserDriver& driver) { driver.showDownloadDidReceiveData(fresh); });
            })};
}

Task<UpdateSession::Step> UpdateSession::download(AppcastItem item) {
    const std::uint64_t length = item.length.value_or(0);
    if (length > maxArchiveBytes) {
        co_return std::unexpected{fmt::format("the feed tells of an archive of {} bytes", length)};
    }
    report([&item](UpdaterDelegate& delegate, const Updater& updater) { delegate.willDownloadUpdate(updater, item); });
    tell([this](UserDriver& driver) { driver.showDownloadInitiated(cancellation()); });
    const FetchListener listener = downloadListener(item);
    const auto end =
        co_await services_.fetch.fetch({.url = *item.url,
                                        .target = FetchTargets::NewFile{services_.installer.places().download()},
                                        .maxBytes = static_cast<std::int64_t>(length > 0 ? length : maxArchiveBytes),
                                        .allowsHTTP = isLoopbackHTTP(services_.feedURL)},
                                       listener, stop_.get_token());
    if (isOver()) co_return Step{};
    if (end) {
        listener.progress(*end);
        co_return Step{};
    }
    report([&](UpdaterDelegate& delegate, const Updater& updater) {
        delegate.failedToDownloadUpdate(updater, item, end.error().reason);
    });
    co_return std::unexpected{end.error().reason};
}

Task<UpdateSession::Step> UpdateSession::unpack(AppcastItem item) {
    report([&item](UpdaterDelegate& delegate, const Updater& updater) { delegate.willExtractUpdate(updater, item); });
    tell([](UserDriver& driver) { driver.showDownloadDidStartExtracting(); });
    auto staged = co_await unpackAndStage(proof(), services_.installer.places(), std::move(item), stop_.get_token());
    if (!staged) co_return std::unexpected{std::move(staged.error())};
    services_.installer.setStaged(*std::move(staged));
    keepsStaged_ = true;
    tell([](UserDriver& driver) { driver.showExtractionReceivedProgress(1); });
    co_return Step{};
}

// The installation

/// Silently: what is staged goes in when the delegate says so, and in any case when the application ends. The check
/// before this one may have handed it over already: a feed that cannot be read now changes nothing about it.
void UpdateSession::awaitInstallation() {
    const auto& staged = services_.installer.staged();
    if (!staged || !UpdateDefaults::consent(services_.defaults)) return;
    const AppcastItem item{.versionString = staged->build, .displayVersionString = staged->version};
    report([this, &item](UpdaterDelegate& delegate, const Updater& updater) {
        static_cast<void>(delegate.willInstallUpdateOnQuit(updater, item, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) self->installNow();
        }));
    });
}

Task<UpdateSession::Step> UpdateSession::offerInstallation(AppcastItem item) {
    const UserUpdateState asked = state();
    services_.installer.choose();
    const Choice choice = co_await ask(
        [](UserDriver& driver, UserDriver::Reply reply) { driver.showReadyToInstallAndRelaunch(std::move(reply)); });
    if (choice == UserUpdateChoice::install) {
        tell([](UserDriver& driver) { driver.showInstallingUpdate(); });
        co_await install();
    } else if (choice) {
        if (choice == UserUpdateChoice::skip) forgetStaged();
        report([&](UpdaterDelegate& delegate, const Updater& updater) {
            delegate.userDidMakeChoice(updater, *choice, item, asked);
        });
    }
    co_return Step{};
}

void UpdateSession::installNow() {
    spawn(services_.loop, weak_from_this(), [](UpdateSession& self) { return self.install(); });
}

Task<void> UpdateSession::install() {
    bool relaunches = false;
    report([&relaunches](UpdaterDelegate& delegate, const Updater& updater) {
        relaunches = delegate.updaterShouldRelaunchApplication(updater);
    });
    // It goes in at the quit then.
    if (!relaunches) co_return;
    const auto installed = co_await services_.installer.install();
    if (installed) co_return;
    if (isShown_) {
        tell([&](UserDriver& driver) { driver.showUpdaterError(installed.error(), [] {}); });
    }
    report([&](UpdaterDelegate& delegate, const Updater& updater) {
        delegate.didAbortWithError(updater, installed.error());
    });
}

void UpdateSession::forgetStaged() {
    keepsStaged_ = false;
    services_.installer.setStaged(std::nullopt);
}

// Whom it speaks to

void UpdateSession::tell(const std::function<void(UserDriver&)>& words) const {
    if (owner_) words(*owner_->driver);
}

void UpdateSession::report(const std::function<void(UpdaterDelegate&, const Updater&)>& words) const {
    if (!owner_) return;
    const Owner owner = *owner_;
    words(*owner.delegate, *owner.updater);
}

std::function<void()> UpdateSession::cancellation() {
    return [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->stop_.request_stop();
    };
}

Task<UpdateSession::Choice> UpdateSession::ask(std::function<void(UserDriver&, UserDriver::Reply)> question) {
    struct Answer {
        explicit Answer(MainLoop& loop) : given(loop) {}
        OneShotEvent given;
        Choice choice{};
    };
    const auto answer = std::make_shared<Answer>(services_.loop);
    const std::stop_callback onStop{stop_.get_token(), [answer] { answer->given.set(); }};
    tell([&](UserDriver& driver) {
        question(driver, [weak = std::weak_ptr{answer}](UserUpdateChoice choice) {
            const auto waiting = weak.lock();
            if (!waiting || waiting->given.isSet()) return;
            waiting->choice = choice;
            waiting->given.set();
        });
    });
    co_await answer->given.wait();
    co_return isOver() ? std::nullopt : answer->choice;
}

}  // namespace larkmoor
